# Benchmarks (Google Benchmark). Run: build/bench/<name>.

#pragma once

#include <unistd.h>

#include <utility>

namespace wharf {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        if (this != &other)
            reset(std::exchange(other.fd, -1));
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { reset(); }

    int get() const { return fd; }
    bool valid() const { return fd >= 0; }
    int release() { return std::exchange(fd, -1); }
    void reset(int replacement = -1)
    {
        if (fd >= 0)
            ::close(fd);
        fd = replacement;
    }

private:
    int fd = -1;
};

} // namespace wharf

#pragma once

#include <QString>

#include <optional>
#include <utility>
#include <variant>

namespace wharf {

// What went wrong, in words a user can read.
struct Error {
    QString message;

    bool operator==(const Error&) const = default;
};

// The outcome of every fallible operation: a value, or the error that prevented it.
template <typename T = void, typename E = Error>
class [[nodiscard]] Result {
public:
    Result(T value) : state(std::in_place_index<0>, std::move(value)) {}
    Result(E error) : state(std::in_place_index<1>, std::move(error)) {}

    bool ok() const { return state.index() == 0; }
    explicit operator bool() const { return ok(); }
    T& value() { return std::get<0>(state); }
    const T& value() const { return std::get<0>(state); }
    const E& error() const { return std::get<1>(state); }
    // The error, or nullopt on success.
    std::optional<E> failure() const { return ok() ? std::nullopt : std::optional<E>(error()); }

private:
    std::variant<T, E> state;
};

// An operation that yields nothing but success or an error.
template <typename E>
class [[nodiscard]] Result<void, E> {
public:
    Result() = default;
    Result(E error) : err(std::move(error)) {}

    bool ok() const { return !err; }
    explicit operator bool() const { return ok(); }
    const E& error() const { return *err; }
    std::optional<E> failure() const { return err; }

private:
    std::optional<E> err;
};

using Status = Result<void>;

} // namespace wharf

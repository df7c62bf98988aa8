#pragma once

#include <QString>

#include <optional>
#include <utility>
#include <variant>

namespace wharf {

// The one failure of the native dock takeover; `message` is the user-visible description.
struct DockIntegrationError {
    QString message;

    bool operator==(const DockIntegrationError&) const = default;
};

// nullopt = success.
using DockFailure = std::optional<DockIntegrationError>;

// A value or the error that prevented it.
template <typename T>
class DockResult {
public:
    DockResult(T value) : state(std::move(value)) {}
    DockResult(DockIntegrationError error) : state(std::move(error)) {}

    bool ok() const { return std::holds_alternative<T>(state); }
    T& value() { return std::get<T>(state); }
    const T& value() const { return std::get<T>(state); }
    const DockIntegrationError& error() const { return std::get<DockIntegrationError>(state); }
    DockFailure failure() const { return ok() ? DockFailure() : DockFailure(error()); }

private:
    std::variant<T, DockIntegrationError> state;
};

} // namespace wharf

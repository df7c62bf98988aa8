#pragma once

namespace wharf {

// Whether the user's Trash holds items; `unknown` when it could not be read.
enum class TrashState { empty, full, unknown };

// The text written to the log.
constexpr const char* rawValue(TrashState state)
{
    switch (state) {
    case TrashState::empty: return "empty";
    case TrashState::full: return "full";
    case TrashState::unknown: break;
    }
    return "unknown";
}

} // namespace wharf

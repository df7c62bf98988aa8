#pragma once

namespace wharf {

// Whether the user's Trash holds items; `unknown` when it could not be read.
enum class TrashState { empty, full, unknown };

} // namespace wharf

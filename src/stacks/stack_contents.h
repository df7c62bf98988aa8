#pragma once

#include "platform/result.h"
#include "stacks/stack_entry.h"
#include "stacks/stack_settings.h"

#include <QCollator>
#include <QString>

#include <vector>

namespace wharf {

// Why a folder could not be listed: the system's error number and its text.
struct StackLoadError {
    int code = 0;
    QString message;

    // No permission to read the folder (EPERM, EACCES): the stack offers to grant access.
    bool isPermissionError() const;
    bool operator==(const StackLoadError&) const = default;
};

// Reading a folder into sorted entries, and choosing a presentation. Pure and blocking:
// callers run `load` off the main thread.
namespace StackContents {

// The folder's direct children without hidden ones (dot files, names in its ".hidden"),
// sorted by `settings.sortOrder`. Fails only when the folder itself cannot be listed.
Result<std::vector<StackEntry>, StackLoadError> load(const QString& folder, const StackSettings& settings);

std::vector<StackEntry> sorted(std::vector<StackEntry> entries, StackSortOrder order);

StackViewMode resolvedViewMode(StackViewMode requested, long itemCount, double availableHeight);

// The file manager's ordering: case-insensitive and numeric-aware, in the user's locale, or in
// English when the system locale is C (whose collation ignores numeric mode).
QCollator collator();

} // namespace StackContents

} // namespace wharf

#pragma once

#include "platform/callback_list.h"
#include "stacks/stack_entry.h"
#include "stacks/stack_settings.h"

#include <QHash>
#include <QIcon>
#include <QImage>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace wharf {

class FolderAccessStore;
class StackPreferences;

// The pile a folder tile shows in `stack` display mode: its first three documents, fanned a
// little. Redrawn only when the display mode or one of those documents changes.
class StackArtwork {
public:
    using DocumentImage = std::function<QImage(const StackEntry& entry)>;

    StackArtwork(StackPreferences& preferences, FolderAccessStore& access, DocumentImage documentImage);
    ~StackArtwork();

    // The folder's pile, the same icon object until it is redrawn; none in `folder` mode.
    std::optional<QIcon> image(const QString& folder) const;
    // The documents the pile shows, front first.
    QStringList documents(const QString& folder) const;
    void update(const QString& folder, const std::vector<StackEntry>& entries, const StackSettings& settings);
    void preferencesChanged(const QString& folder);
    // A background listing, only for folders whose access is already remembered.
    void loadIfAlreadyAllowed(const QString& folder, const StackSettings& settings);
    // Something in the folder changed while no stack shows it: the pile follows, and a folder
    // that is gone shows its own icon again.
    void folderChanged(const QString& folder);

    static QImage render(const std::vector<QImage>& documents);
    int renderCount() const { return renders; }

    // Told with the folder after its artwork changed.
    CallbackList<QString> artworkChanged;

private:
    void forget(const QString& key, const StackSettings& settings);

    struct Stamp {
        QString path;
        QString title;
        std::optional<QDateTime> modificationDate;
        QString kind;
        bool operator==(const Stamp&) const = default;
    };
    struct Signature {
        StackDisplayMode displayMode = StackDisplayMode::folder;
        std::vector<Stamp> documents;
        bool operator==(const Signature&) const = default;
    };
    struct CachedFolder {
        std::vector<StackEntry> entries;
        StackSettings settings;
        Signature signature;
        std::optional<QIcon> artwork;
    };

    StackPreferences& preferences;
    FolderAccessStore& access;
    DocumentImage documentImage;
    QHash<QString, CachedFolder> cache;
    QHash<QString, int> pendingLoads;
    int nextToken = 0;
    int renders = 0;
    std::shared_ptr<bool> alive = std::make_shared<bool>(true);
};

} // namespace wharf

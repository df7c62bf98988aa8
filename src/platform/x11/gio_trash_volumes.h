#pragma once

#include "platform/trash_volumes.h"

#include <memory>

namespace wharf {

// The mount table from GIO's unix mounts; changes come from GIO's mount monitor (an event on the
// mount table, not a poll).
class GioTrashVolumes : public TrashVolumes {
public:
    GioTrashVolumes();
    ~GioTrashVolumes() override;
    GioTrashVolumes(const GioTrashVolumes&) = delete;
    GioTrashVolumes& operator=(const GioTrashVolumes&) = delete;

    Result<std::vector<MountedVolume>> mountedVolumes() const override;

private:
    struct Monitor;
    std::unique_ptr<Monitor> monitor;
};

} // namespace wharf

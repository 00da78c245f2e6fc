// SPDX-License-Identifier: MIT
// What a system call means for the names on the disk, before it happens and after.
#include "desk/power/watch.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>

namespace power {
namespace {

using Medium = Disk::Medium;

std::uint64_t openFlags(const Tracee &tracee, const Call &call) {
    const CallRow &row = *call.row;
    if (row.flagsAt != kNone) {
        return tracee.number(call.argument(row.flagsAt)).value_or(0);
    }
    return row.flags == kNone ? O_CREAT | O_WRONLY | O_TRUNC : call.argument(row.flags);
}

} // namespace

std::optional<Effect> Watch::open(const Tracee &tracee, const Call &call) {
    const std::uint64_t flags = openFlags(tracee, call);
    const bool isExclusive = (flags & O_EXCL) != 0;
    const auto name = resolved(tracee, call, call.row->folder, call.row->path,
                               !isExclusive && (flags & O_NOFOLLOW) == 0);
    if (!name || disk_.mediumOf(name->path()) == Medium::other) {
        return std::nullopt;
    }
    const bool creates = (flags & O_CREAT) != 0 && !name->status;
    const bool truncates = (flags & O_TRUNC) != 0 && (flags & O_ACCMODE) != O_RDONLY &&
                           !isExclusive && name->status && S_ISREG(name->status->st_mode);
    if (!creates && !truncates) {
        return std::nullopt;
    }
    Effect effect = effectOn(name->path());
    if (disk_.mediumOf(name->path()) == Medium::ram) {
        return effect;
    }
    if (truncates) {
        const auto target = targetOf(*name);
        if (target) {
            effect.before = [this, target] { disk_.willResize(target->descriptor->get(), 0); };
        }
        return effect;
    }
    effect.after = [this, change = disk_.names().willMake(name->folder.get(), name->name)](
                       std::int64_t result) {
        if (result >= 0) {
            disk_.names().happened(change);
        }
    };
    return effect;
}

std::optional<Effect> Watch::make(const Tracee &tracee, const Call &call) {
    const auto name = resolved(tracee, call, call.row->folder, call.row->path, false);
    if (!name || name->status || disk_.mediumOf(name->path()) == Medium::other) {
        return std::nullopt;
    }
    Effect effect = effectOn(name->path());
    if (disk_.mediumOf(name->path()) == Medium::disk) {
        effect.after = [this, change = disk_.names().willMake(name->folder.get(), name->name)](
                           std::int64_t result) {
            if (result == 0) {
                disk_.names().happened(change);
            }
        };
    }
    return effect;
}

std::optional<Effect> Watch::remove(const Tracee &tracee, const Call &call) {
    const auto name = resolved(tracee, call, call.row->folder, call.row->path, false);
    if (!name || !name->status || disk_.mediumOf(name->path()) == Medium::other) {
        return std::nullopt;
    }
    Effect effect = effectOn(name->path());
    if (disk_.mediumOf(name->path()) == Medium::disk) {
        effect.after = [this, change = disk_.names().willRemove(name->folder.get(), name->name)](
                           std::int64_t result) {
            if (result == 0) {
                disk_.names().happened(change);
            }
        };
    }
    return effect;
}

std::optional<Effect> Watch::rename(const Tracee &tracee, const Call &call) {
    const CallRow &row = *call.row;
    const auto from = resolved(tracee, call, row.folder, row.path, false);
    const auto to = resolved(tracee, call, row.toFolder, row.toPath, false);
    if (!from || !to || !from->status) {
        return std::nullopt;
    }
    const std::uint64_t flags = call.argument(row.flags);
    if ((flags & RENAME_NOREPLACE) != 0 && to->status) {
        return std::nullopt; // it fails
    }
    const Medium medium = disk_.mediumOf(to->path());
    Effect effect = effectOn(to->path());
    if (disk_.mediumOf(from->path()) != medium) {
        // Two file systems on the node, though one here.
        effect.counts = false;
        effect.result = -EXDEV;
        return effect;
    }
    if (medium == Medium::other) {
        return std::nullopt;
    }
    if (medium == Medium::disk) {
        const bool exchange = (flags & RENAME_EXCHANGE) != 0;
        effect.after = [this, change = disk_.names().willRename(from->folder.get(), from->name,
                                                                to->folder.get(), to->name,
                                                                exchange)](std::int64_t result) {
            if (result == 0) {
                disk_.names().happened(change);
            }
        };
    }
    return effect;
}

} // namespace power

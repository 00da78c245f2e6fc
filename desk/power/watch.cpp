// SPDX-License-Identifier: MIT
#include "desk/power/watch.h"

#include "desk/failure.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <unistd.h>

namespace power {

namespace {

using Medium = Disk::Medium;

Range rangeOf(const Tracee &tracee, const Call &call, const OpenFile &file, std::uint64_t size) {
    const base::DiskCall &row = *call.row;
    Range range{file.position, row.vectorAt == base::kNoArgument
                                   ? call.argument(row.length)
                                   : tracee.vectorLength(call.argument(row.vectorAt),
                                                         call.argument(row.vectorAt + 1))};
    if (row.offset != base::kNoArgument &&
        static_cast<std::int64_t>(call.argument(row.offset)) >= 0) {
        range.offset = call.argument(row.offset);
    } else if (call.argument(row.offsetAt) != 0) {
        range.offset = tracee.number(call.argument(row.offsetAt)).value_or(0);
    }
    if ((file.flags & O_APPEND) != 0 || (call.argument(row.flags) & RWF_APPEND) != 0) {
        range.offset = size;
    }
    return range;
}

bool syncsItself(const Call &call, const OpenFile &file) {
    return (file.flags & (O_DSYNC | O_SYNC)) != 0 ||
           (call.argument(call.row->flags) & (RWF_DSYNC | RWF_SYNC)) != 0;
}

bool holds(const std::vector<std::filesystem::path> &paths, const std::filesystem::path &path) {
    return std::find(paths.begin(), paths.end(), path) != paths.end();
}

// One bit of one byte in the middle, as a worn-out memory cell does.
void corrupt(int file, const Range &written) {
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    const base::UniqueFd own(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    const auto at = static_cast<off_t>(written.offset + written.length / 2);
    char byte = 0;
    if (!own || pread(own.get(), &byte, 1, at) != 1) {
        throw desk::Failure(base::systemReason("the file of --corrupt cannot be read"));
    }
    byte = static_cast<char>(byte ^ 1);
    if (pwrite(own.get(), &byte, 1, at) != 1) {
        throw desk::Failure(base::systemReason("the file of --corrupt cannot be written"));
    }
}

std::uint64_t openFlags(const Tracee &tracee, const Call &call) {
    const base::DiskCall &row = *call.row;
    if (row.flagsAt != base::kNoArgument) {
        return tracee.number(call.argument(row.flagsAt)).value_or(0);
    }
    return row.flags == base::kNoArgument ? O_CREAT | O_WRONLY | O_TRUNC : call.argument(row.flags);
}

} // namespace

std::optional<Name> Watch::resolved(const Tracee &tracee, const Call &call, int folder, int path,
                                    bool followLink) {
    const auto text = tracee.text(call.argument(path));
    const int from =
        folder == base::kNoArgument ? AT_FDCWD : static_cast<int>(call.argument(folder));
    return text ? tracee.resolve(from, *text, followLink) : std::nullopt;
}

std::optional<Watch::Target> Watch::targetOf(const Tracee &tracee, int descriptor) const {
    const auto path = tracee.file(descriptor);
    if (!path || disk_.mediumOf(path->path) == Medium::other) {
        return std::nullopt;
    }
    Target target{path->path, disk_.mediumOf(path->path), {}, nullptr};
    target.descriptor = std::make_shared<base::UniqueFd>(
        ::open(tracee.linkTo(descriptor).c_str(), O_PATH | O_CLOEXEC));
    return fstat(target.descriptor->get(), &target.status) == 0 ? std::optional(target)
                                                                : std::nullopt;
}

std::optional<Watch::Target> Watch::targetOf(const Name &name) const {
    Target target{name.path(), disk_.mediumOf(name.path()), {}, nullptr};
    target.descriptor = std::make_shared<base::UniqueFd>(
        openat(name.folder.get(), name.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    return target.medium != Medium::other && fstat(target.descriptor->get(), &target.status) == 0
               ? std::optional(target)
               : std::nullopt;
}

Effect Watch::effectOn(const std::filesystem::path &path, std::optional<Range> range) const {
    Effect effect;
    effect.path = disk_.shown(path);
    effect.range = range;
    return effect;
}

bool Watch::mayConcern(const Tracee &tracee, const Call &call) const {
    if (call.row->descriptor == base::kNoArgument) {
        return true;
    }
    const auto file = tracee.file(static_cast<int>(call.argument(call.row->descriptor)));
    return file && disk_.mediumOf(file->path) != Medium::other;
}

std::optional<Effect> Watch::examine(const Tracee &tracee, const Call &call) {
    switch (call.row->act) {
    case base::DiskAct::write:
        return write(tracee, call);
    case base::DiskAct::sync:
    case base::DiskAct::syncRange:
        return sync(tracee, call);
    case base::DiskAct::syncAll:
        return syncAll(tracee, call);
    case base::DiskAct::resize:
    case base::DiskAct::allocate:
        return resize(tracee, call);
    case base::DiskAct::open:
        return open(tracee, call);
    case base::DiskAct::make:
        return make(tracee, call);
    case base::DiskAct::remove:
        return remove(tracee, call);
    case base::DiskAct::rename:
        return rename(tracee, call);
    }
    return std::nullopt;
}

std::optional<Effect> Watch::write(const Tracee &tracee, const Call &call) {
    const auto descriptor = static_cast<int>(call.argument(call.row->descriptor));
    const auto target = targetOf(tracee, descriptor);
    const auto file = tracee.file(descriptor);
    if (!target || !file || !S_ISREG(target->status.st_mode)) {
        return std::nullopt;
    }
    const Range range =
        rangeOf(tracee, call, *file, static_cast<std::uint64_t>(target->status.st_size));
    Effect effect = effectOn(target->path, range);
    if (target->medium == Medium::ram) {
        return effect;
    }
    effect.before = [this, target, range] { disk_.willWrite(target->descriptor->get(), range); };
    const bool isThrough = syncsItself(call, *file);
    const bool isCorrupted = holds(faults_.corrupted, target->path);
    effect.after = [this, target, range, isThrough, isCorrupted](std::int64_t result) {
        disk_.noneInFlight();
        if (result <= 0) {
            return;
        }
        const Range written{range.offset, static_cast<std::uint64_t>(result)};
        if (isCorrupted) {
            corrupt(target->descriptor->get(), written);
        }
        if (isThrough) {
            disk_.wasWrittenThrough(target->descriptor->get(), written);
        }
    };
    return effect;
}

std::optional<Effect> Watch::sync(const Tracee &tracee, const Call &call) {
    const auto target = targetOf(tracee, static_cast<int>(call.argument(call.row->descriptor)));
    if (!target || !(S_ISREG(target->status.st_mode) || S_ISDIR(target->status.st_mode))) {
        return std::nullopt;
    }
    Effect effect = effectOn(target->path);
    if (call.row->act == base::DiskAct::syncRange || target->medium == Medium::ram) {
        return effect;
    }
    if (holds(faults_.lying, target->path)) {
        effect.result = 0;
        return effect;
    }
    effect.after = [this, target](std::int64_t result) {
        if (result == 0) {
            disk_.synced(target->descriptor->get());
        }
    };
    return effect;
}

std::optional<Effect> Watch::syncAll(const Tracee &tracee, const Call &call) {
    std::filesystem::path path;
    if (call.row->descriptor != base::kNoArgument) {
        const auto target = targetOf(tracee, static_cast<int>(call.argument(call.row->descriptor)));
        if (!target || target->medium == Medium::ram) {
            return std::nullopt;
        }
        path = target->path;
    }
    Effect effect = effectOn(path);
    effect.after = [this](std::int64_t result) {
        if (result == 0) {
            disk_.allSynced();
        }
    };
    return effect;
}

std::optional<Effect> Watch::resize(const Tracee &tracee, const Call &call) {
    const base::DiskCall &row = *call.row;
    std::optional<Target> target;
    if (row.descriptor != base::kNoArgument) {
        target = targetOf(tracee, static_cast<int>(call.argument(row.descriptor)));
    } else if (const auto name = resolved(tracee, call, row.folder, row.path, true)) {
        target = targetOf(*name);
    }
    if (!target || !S_ISREG(target->status.st_mode)) {
        return std::nullopt;
    }
    // Allocating may move all that lies behind its offset, and resizing all behind the new end.
    const bool allocates = row.act == base::DiskAct::allocate;
    const std::uint64_t from = call.argument(allocates ? row.offset : row.length);
    Effect effect = effectOn(target->path, Range{from, allocates ? call.argument(row.length) : 0});
    if (target->medium == Medium::disk) {
        effect.before = [this, target, from] { disk_.willResize(target->descriptor->get(), from); };
    }
    return effect;
}

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
    const base::DiskCall &row = *call.row;
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

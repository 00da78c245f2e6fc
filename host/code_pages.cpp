// SPDX-License-Identifier: MIT
#include "host/code_pages.h"

#include <cstddef>
#include <cstdint>
#include <elf.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

namespace host {
namespace {

using Segment = ElfW(Phdr);

void *at(std::uintptr_t address) {
    return reinterpret_cast<void *>(address); // NOLINT: the loader tells numbers
}

// Such code was changed when it was loaded: what comes back from the file is something else.
bool isCodeChanged(const dl_phdr_info &library, const Segment &dynamic) {
    const auto *entry = static_cast<const ElfW(Dyn) *>(at(library.dlpi_addr + dynamic.p_vaddr));
    for (; entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag == DT_TEXTREL ||
            (entry->d_tag == DT_FLAGS && (entry->d_un.d_val & DF_TEXTREL) != 0)) {
            return true;
        }
    }
    return false;
}

void giveBack(const dl_phdr_info &library, const Segment &segment) {
    static const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t begin = library.dlpi_addr + segment.p_vaddr;
    const std::uintptr_t first = begin / page * page;
    madvise(at(first), begin + segment.p_memsz - first, MADV_DONTNEED);
}

// The program itself has no name, and what the kernel maps by itself no path.
int visit(dl_phdr_info *library, std::size_t /*size*/, void * /*argument*/) {
    if (library->dlpi_name == nullptr || *library->dlpi_name != '/') {
        return 0;
    }
    for (std::size_t i = 0; i < library->dlpi_phnum; ++i) {
        const Segment &segment = library->dlpi_phdr[i];
        if (segment.p_type == PT_DYNAMIC && isCodeChanged(*library, segment)) {
            return 0;
        }
    }
    for (std::size_t i = 0; i < library->dlpi_phnum; ++i) {
        const Segment &segment = library->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_W) == 0) {
            giveBack(*library, segment);
        }
    }
    return 0;
}

} // namespace

void giveBackCode() { dl_iterate_phdr(visit, nullptr); }

} // namespace host

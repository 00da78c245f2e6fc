/* SPDX-License-Identifier: MIT */
/* What archives that were compiled for glibc call, and musl does not have. */
#define _GNU_SOURCE
#include <link.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* As glibc's dlfcn.h has it: which part of a loaded file an address is in, and its unwind tables.
 */
struct dl_find_object {
    unsigned long long flags;
    void *begin;
    void *end;
    void *map;
    void *eh_frame;
    unsigned long long reserved[7];
};

struct search {
    uintptr_t address;
    struct dl_find_object *found;
};

static int look(struct dl_phdr_info *file, size_t size, void *argument) {
    struct search *search = argument;
    const ElfW(Phdr) *tables = NULL;
    int here = 0;
    (void)size;
    for (int i = 0; i < file->dlpi_phnum; i++) {
        const ElfW(Phdr) *part = &file->dlpi_phdr[i];
        uintptr_t begin = file->dlpi_addr + part->p_vaddr;
        if (part->p_type == PT_GNU_EH_FRAME) {
            tables = part;
        } else if (part->p_type == PT_LOAD && search->address - begin < part->p_memsz) {
            here = 1;
            search->found->begin = (void *)begin;
            search->found->end = (void *)(begin + part->p_memsz);
        }
    }
    if (!here || tables == NULL) {
        return 0;
    }
    search->found->eh_frame = (void *)(file->dlpi_addr + tables->p_vaddr);
    return 1;
}

int _dl_find_object(void *address, struct dl_find_object *found) {
    struct search search = {(uintptr_t)address, found};
    memset(found, 0, sizeof *found);
    return dl_iterate_phdr(look, &search) == 1 ? 0 : -1;
}

/* What a C library with checks of its own makes of four calls. */
void *__memcpy_chk(void *to, const void *from, size_t size, size_t room) {
    if (size > room) {
        abort();
    }
    return memcpy(to, from, size);
}

int __snprintf_chk(char *to, size_t size, int flag, size_t room, const char *format, ...) {
    va_list arguments;
    (void)flag;
    if (size > room) {
        abort();
    }
    va_start(arguments, format);
    int length = vsnprintf(to, size, format, arguments);
    va_end(arguments);
    return length;
}

int __sprintf_chk(char *to, int flag, size_t room, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    int length = vsnprintf(to, room, format, arguments);
    va_end(arguments);
    (void)flag;
    if (length >= 0 && (size_t)length >= room) {
        abort();
    }
    return length;
}

int __asprintf_chk(char **to, int flag, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    int length = vasprintf(to, format, arguments);
    va_end(arguments);
    (void)flag;
    return length;
}

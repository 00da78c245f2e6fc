// SPDX-License-Identifier: MIT
// The environment in two copies on the first virtio disk, in the place of the driver for MMC cards:
// the same offsets, the same format, the older copy is written.
// Before all others.
#include <common.h>

#include <asm/global_data.h>
#include <blk.h>
#include <dm.h>
#include <env.h>
#include <env_internal.h>
#include <memalign.h>
#include <part.h>
#include <virtio.h>
#include <virtio_types.h>

DECLARE_GLOBAL_DATA_PTR;

static const ulong offsets[] = {CONFIG_ENV_OFFSET, CONFIG_ENV_OFFSET_REDUND};

static struct blk_desc *card(void) {
    virtio_init();
    return blk_get_dev("virtio", 0);
}

static int is_done(ulong done, struct blk_desc *blk) {
    return done == CONFIG_ENV_SIZE / blk->blksz;
}

static int env_card_save(void) {
    ALLOC_CACHE_ALIGN_BUFFER(env_t, env, 1);
    struct blk_desc *blk = card();
    int copy = gd->env_valid == ENV_VALID ? 1 : 0;
    int error = env_export(env);

    if (error)
        return error;
    if (!blk ||
        !is_done(blk_dwrite(blk, offsets[copy] / blk->blksz, CONFIG_ENV_SIZE / blk->blksz, env),
                 blk))
        return -EIO;
    gd->env_valid = copy ? ENV_REDUND : ENV_VALID;
    return 0;
}

static int env_card_load(void) {
    ALLOC_CACHE_ALIGN_BUFFER(env_t, first, 1);
    ALLOC_CACHE_ALIGN_BUFFER(env_t, second, 1);
    env_t *copies[] = {first, second};
    int failed[] = {1, 1};
    struct blk_desc *blk = card();
    int copy;

    for (copy = 0; blk && copy < 2; copy++)
        failed[copy] = !is_done(
            blk_dread(blk, offsets[copy] / blk->blksz, CONFIG_ENV_SIZE / blk->blksz, copies[copy]),
            blk);
    return env_import_redund((char *)first, failed[0], (char *)second, failed[1], H_EXTERNAL);
}

U_BOOT_ENV_LOCATION(mmc) = {
    .location = ENVL_MMC,
    ENV_NAME("card").load = env_card_load,
    .save = env_save_ptr(env_card_save),
};

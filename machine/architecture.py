# SPDX-License-Identifier: MIT
"""The processors that a machine is emulated with, and what each of them needs."""

import dataclasses


@dataclasses.dataclass(frozen=True)
class Architecture:
    """One kind of processor with its board."""

    name: str
    debian: str
    kernel_package: str
    kernel_file: str  # begins so in the kernel's package
    modules: tuple[str, ...]  # in the order in which the initramfs loads them
    boot_loader_board: str
    boot_loader_file: str
    compiler_prefix: str  # empty: the compiler of this machine
    console: str
    control: str  # the second serial line, of the control shell
    # The board's own lines of the boot script.
    load_kernel: str
    start_kernel: str
    qemu: tuple[str, ...]


_MODULES = (
    "virtio_pci", "virtio_blk", "squashfs", "ext4", "crc32c_generic", "virtio_net", "bridge",
    "i6300esb",
)  # fmt: skip

X86_64 = Architecture(
    name="x86_64",
    debian="amd64",
    kernel_package="linux-image-amd64",
    kernel_file="vmlinuz-",
    modules=_MODULES,
    boot_loader_board="qemu-x86",
    boot_loader_file="u-boot.rom",
    compiler_prefix="",
    console="ttyS0",
    control="ttyS1",
    load_kernel="load virtio 0:${part} 0x2000000 boot/kernel"
    " && load virtio 0:${part} 0x8000000 boot/initramfs",
    start_kernel="zboot 0x2000000 0 0x8000000 ${filesize}",
    # The plainest processor. With `-cpu max` one boot in about thirty stalled, for a reason that was
    # not found.
    qemu=("qemu-system-x86_64", "-machine", "q35", "-vga", "none", "-bios"),
)

ARCHITECTURES = {one.name: one for one in (X86_64,)}

# SPDX-License-Identifier: MIT
# Boots the bank that the boot state chooses, counts the attempts of one on trial, falls back.
#
#     mkimage -A arm64 -T script -C none -n "bank selection" -d boot.cmd boot.scr
#
# The state is U-Boot's environment; boot-selection.md explains its variables. Texts between single
# quotes are commands for later: they are run once for each bank that is tried, with its ${part}.
# What is run must be in the environment, and so must the kernel's arguments: both are put there
# behind each saveenv and taken out before it, with what load leaves, so that the stored environment
# holds the state and nothing of one boot.

# ---- This board's own lines: where the banks are, how a kernel is loaded and started ----
part_a=2
part_b=3
arguments="console=ttyS0,115200 rootfstype=squashfs ro rootwait panic=10 root=/dev/mmcblk0p"
load_kernel='load mmc 0:${part} ${kernel_addr_r} boot/Image && load mmc 0:${part} ${fdt_addr_r} boot/board.dtb'
start_kernel='booti ${kernel_addr_r} - ${fdt_addr_r}'

# ---- The rest is the same on every board ----
known=no
unread=no
if test "${BOOT_ORDER}" = "A B" || test "${BOOT_ORDER}" = "B A"; then
    known=yes
    # The last one, once more and not counted, is the bank on trial: attempts are for a bank to fall
    # back from, and without one a bank that loads is all there is.
    for slot in ${BOOT_ORDER} last; do
        # First of all a value: in this shell an assignment of nothing leaves the one of before.
        bank=none
        order=${BOOT_ORDER}
        if test "${slot}" = "last" && test -n "${ota_trial}"; then
            bank=${ota_trial}
        fi
        if test "${slot}" = "A"; then
            bank=a
            order="A B"
        fi
        if test "${slot}" = "B"; then
            bank=b
            order="B A"
        fi
        # A bank without a version in the state holds no whole image.
        whole=no
        if test "${bank}" = "a" && test -n "${ota_a_version}"; then
            whole=yes
        fi
        if test "${bank}" = "b" && test -n "${ota_b_version}"; then
            whole=yes
        fi
        part=${part_a}
        if test "${bank}" = "b"; then
            part=${part_b}
        fi
        # Always from the beginning: of two words "ota.bank=" the first one counts.
        bank_arguments="${arguments}${part} ota.bank=${bank}"

        if test "${slot}" != "last" && test "${bank}" = "${ota_trial}"; then
            may=yes
            for attempt in 1 2 3 4 5 6 7 8 9; do
                left=0
                if test "${slot}" = "A"; then
                    left=${BOOT_A_LEFT}
                else
                    left=${BOOT_B_LEFT}
                fi
                if test "${may}" = "yes" && test "${left}" -gt 0; then
                    # Hexadecimal, which is the same up to 9.
                    setexpr BOOT_${slot}_LEFT ${left} - 1
                    setenv ota_active ${bank}
                    echo "bank ${bank} is on trial: ${left} boot attempts left, this one included"
                    # An attempt that is not counted would be made for ever.
                    setenv bootargs
                    setenv fileaddr
                    setenv filesize
                    setenv ota_load
                    setenv ota_start
                    if saveenv; then
                        setenv ota_load "${load_kernel}"
                        if test "${whole}" = "yes" && run ota_load; then
                            setenv bootargs "${bank_arguments}"
                            setenv ota_start "${start_kernel}"
                            run ota_start
                        fi
                        echo "bank ${bank} did not boot"
                    else
                        echo "bank ${bank} is passed over: its attempt cannot be stored, check the device of the environment"
                        may=no
                    fi
                fi
            done
            echo "bank ${bank} is on trial and may not be tried again"
        elif test "${whole}" = "yes"; then
            setenv ota_load "${load_kernel}"
            if run ota_load; then
                # Nothing is written where the bank boots that booted before. A bank that cannot be
                # read just now may be the better one the next time: it stays the first.
                changed=no
                if test "${unread}" = "no" && test -z "${ota_trial}" && test "${order}" != "${BOOT_ORDER}"; then
                    setenv BOOT_ORDER "${order}"
                    changed=yes
                fi
                if test "${ota_active}" != "${bank}"; then
                    setenv ota_active ${bank}
                    changed=yes
                fi
                # The kernel is told which bank runs: this one boots, stored or not.
                if test "${changed}" = "yes"; then
                    bytes=${filesize}
                    setenv bootargs
                    setenv fileaddr
                    setenv filesize
                    setenv ota_load
                    setenv ota_start
                    saveenv
                    setenv filesize ${bytes}
                fi
                setenv bootargs "${bank_arguments}"
                setenv ota_start "${start_kernel}"
                run ota_start
                echo "bank ${bank} did not boot"
            else
                unread=yes
            fi
        fi
    done
fi
if test "${known}" = "yes"; then
    echo "no bank boots: write an image to one, or start the rescue system"
else
    echo "BOOT_ORDER is <${BOOT_ORDER}>, expected <A B> or <B A>: make the boot state with ota-boot-state init"
fi

# ---- This board's own line: the way to its rescue system, where it has one ----
reset

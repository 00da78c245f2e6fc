# SPDX-License-Identifier: MIT
"""A machine that really boots: emulated, with boot loader, kernel, systemd and the service on a card.

It stands on the rig (desk/rig) for what runs beside it on this machine: servers, certificates, images.
"""

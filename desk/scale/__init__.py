# SPDX-License-Identifier: MIT
"""Very many nodes on one desk, upgraded at once.

Beside rig; nothing here knows the lab or the demonstration.
"""

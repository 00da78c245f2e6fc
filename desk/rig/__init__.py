# SPDX-License-Identifier: MIT
"""The rig: whole nodes with their real parts on this machine, and what they speak to.

The demonstration (desk/demo), the lab (desk/lab) and the tests of whole nodes (tests/system) stand on
it. Nothing here knows any of them.
"""

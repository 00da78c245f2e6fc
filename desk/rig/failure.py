# SPDX-License-Identifier: MIT
"""What goes wrong on the rig."""


class Failure(Exception):
    """One line for a person: what, where and what to do."""

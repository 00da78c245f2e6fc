# SPDX-License-Identifier: MIT
"""The program of ./dev scale."""

import pathlib
import sys

# The folder of the rooms, where Python was given this one.
sys.path[0] = str(pathlib.Path(__file__).resolve().parents[1])

from scale.main import main  # noqa: E402  pylint: disable=wrong-import-position

sys.exit(main(sys.argv[1:]))

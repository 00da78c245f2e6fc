# SPDX-License-Identifier: MIT
"""What the stages, status words and timers of a node tell of the image's way."""

from typing import NamedTuple

from demo.scenarios import (
    ACTIVATION_COMPLETE, ACTIVATION_FAILED, COMMIT_COMPLETE, COMMIT_FAILED, CRC_CHECK_FAILED,
    FLASH_WRITE_FAILED,
)  # fmt: skip

_NOT = "NOT: "
_WRITTEN = "into the passive bank, and read back"
STAGE, WORD, TIMER = "stage", "word", "timer"
REBOOT_TIMER = "rebootTimer"
ANY = ""


class StepText(NamedTuple):
    """What is known now."""

    step: str
    text: str

    @property
    def failed(self) -> bool:
        """The node knows why."""
        return self.text.startswith(_NOT)


# (during which stage, what came, its name): what is known from it
_ROWS = {
    ("downloading", STAGE, "verifying"):
        StepText("downloaded", "the image is in the temporary directory"),
    ("verifying", STAGE, "writing"):
        StepText("checked", "the image's MD5 sum is the one offered"),
    (ANY, WORD, CRC_CHECK_FAILED):
        StepText("checked", _NOT + "the image's MD5 sum is not the one offered"),
    ("writing", STAGE, "activating"): StepText("written", _WRITTEN),
    ("writing", WORD, ACTIVATION_COMPLETE): StepText("written", _WRITTEN),
    ("writing", TIMER, REBOOT_TIMER): StepText("written", _WRITTEN),
    (ANY, WORD, FLASH_WRITE_FAILED):
        StepText("written", _NOT + "the passive bank did not take the image"),
    ("activating", STAGE, "rebooting"): StepText("activated", "the passive bank boots next"),
    (ANY, WORD, ACTIVATION_FAILED):
        StepText("activated", _NOT + "the passive bank is not fit to boot"),
    (ANY, WORD, COMMIT_COMPLETE):
        StepText("commit", "the running version is the one that was activated"),
    (ANY, WORD, COMMIT_FAILED):
        StepText("commit", _NOT + "the running version is not the one that was offered"),
}  # fmt: skip


class ImageProgress:
    """Takes what happened next, and gives what is known from it; none: nothing new."""

    def __init__(self) -> None:
        self._stage = ANY  # that runs; none once its end was told

    def _known(self, kind: str, name: str) -> StepText | None:
        return _ROWS.get((self._stage, kind, name)) or _ROWS.get((ANY, kind, name))

    def stage_began(self, stage: str) -> StepText | None:
        known = self._known(STAGE, stage)
        self._stage = stage
        return known

    def word_came(self, word: str) -> StepText | None:
        return self._ends_the_stage(WORD, word)

    def timer_started(self, name: str) -> StepText | None:
        return self._ends_the_stage(TIMER, name)

    def _ends_the_stage(self, kind: str, name: str) -> StepText | None:
        known = self._known(kind, name)
        if known:
            self._stage = ANY
        return known

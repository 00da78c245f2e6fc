# SPDX-License-Identifier: MIT
"""What is told of an image's way, from stages, status words and timers."""

import unittest

from demo.scenarios import (
    ACTIVATION_COMPLETE, ACTIVATION_FAILED, COMMIT_COMPLETE, COMMIT_FAILED, CRC_CHECK_FAILED,
    FLASH_WRITE_FAILED, SWAP_PASSIVE,
)  # fmt: skip
from demo.step_text import REBOOT_TIMER, ImageProgress, StepText

WRITTEN = "written: into the passive bank, and read back"


def told(known: StepText | None) -> str:
    return f"{known.step}: {known.text}" if known else "nothing"


class Stages(unittest.TestCase):
    def setUp(self) -> None:
        self.image = ImageProgress()

    def began(self, stage: str) -> str:
        return told(self.image.stage_began(stage))

    def test_a_stage_that_begins_tells_how_the_one_before_it_went(self) -> None:
        self.assertEqual(self.began("downloading"), "nothing")
        self.assertEqual(
            self.began("verifying"), "downloaded: the image is in the temporary directory"
        )
        self.assertEqual(self.began("writing"), "checked: the image's MD5 sum is the one offered")
        self.assertEqual(self.began("activating"), WRITTEN)
        self.assertEqual(self.began("rebooting"), "activated: the passive bank boots next")

    def test_an_image_that_is_only_written_is_told_with_its_word_and_once(self) -> None:
        self.began("writing")
        self.assertEqual(told(self.image.word_came(ACTIVATION_COMPLETE)), WRITTEN)
        self.assertEqual(told(self.image.word_came(ACTIVATION_COMPLETE)), "nothing")
        self.assertEqual(self.began("activating"), "nothing")

    def test_an_image_that_waits_for_its_time_is_told_with_the_timer_and_once(self) -> None:
        self.began("writing")
        self.assertEqual(told(self.image.timer_started("downloadRetryTimer")), "nothing")
        self.assertEqual(told(self.image.timer_started(REBOOT_TIMER)), WRITTEN)
        self.assertEqual(told(self.image.timer_started(REBOOT_TIMER)), "nothing")
        self.assertEqual(self.began("activating"), "nothing")
        self.assertEqual(self.began("rebooting"), "activated: the passive bank boots next")

    def test_a_swap_writes_nothing(self) -> None:
        self.assertEqual(told(self.image.word_came(SWAP_PASSIVE)), "nothing")
        self.assertEqual(self.began("activating"), "nothing")

    def test_failures_are_told_by_their_words(self) -> None:
        for word, text in {
            CRC_CHECK_FAILED: "checked: NOT: the image's MD5 sum is not the one offered",
            FLASH_WRITE_FAILED: "written: NOT: the passive bank did not take the image",
            ACTIVATION_FAILED: "activated: NOT: the passive bank is not fit to boot",
            COMMIT_FAILED: "commit: NOT: the running version is not the one that was offered",
        }.items():
            known = ImageProgress().word_came(word)
            self.assertEqual(told(known), text)
            self.assertTrue(known and known.failed)
        known = ImageProgress().word_came(COMMIT_COMPLETE)
        self.assertFalse(known is None or known.failed)


if __name__ == "__main__":
    unittest.main()

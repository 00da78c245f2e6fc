# SPDX-License-Identifier: MIT
"""Which rounds others disturbed."""

import os
import subprocess
import sys
import unittest

from disturbance import (
    KERNEL_THREAD,
    MOST_FOREIGN,
    TICKS,
    Judge,
    Moment,
    busy_and_stolen,
    flags_and_time,
    foreign_share,
    moment,
)


class TheKernelsFigures(unittest.TestCase):
    def test_busy_is_neither_idle_nor_waiting_and_counts_guests_once(self) -> None:
        line = "cpu  100 20 30 9000 800 4 6 50 70 80"
        self.assertEqual(busy_and_stolen(line), (160 / TICKS, 50 / TICKS))

    def test_a_process_may_have_any_name(self) -> None:
        rest = f"S 2 0 0 0 -1 {KERNEL_THREAD | 64} 0 0 0 0 7 5 0 0 20 0 1"
        for name in ("kworker/0:1", "a) S 9 9 (b", ""):
            flags, seconds = flags_and_time(f"17 ({name}) {rest}\n")
            self.assertTrue(flags & KERNEL_THREAD)
            self.assertEqual(seconds, 12 / TICKS)

    def test_this_process_and_its_children_are_the_rounds_own(self) -> None:
        work = "import os\nwhile sum(os.times()[:2]) < 0.3: pass"
        before = moment(0)
        subprocess.run([sys.executable, "-c", work], check=True)
        after = moment(0)
        self.assertGreater(after.own - before.own, 0.28)
        self.assertGreater(after.busy - before.busy, 0.28)
        self.assertGreater(after.clock - before.clock, 0.1)

    def test_the_server_is_too(self) -> None:
        own = [moment(pid).own for pid in (0, os.getpid())]
        self.assertGreater(own[1], own[0])


class TheShareOfOthers(unittest.TestCase):
    def share(self, busy: float, stolen: float, own: float) -> float:
        return foreign_share(
            Moment(5, 100, 10, 50), Moment(9, 100 + busy, 10 + stolen, 50 + own), 2
        )

    def test_is_what_was_busy_or_stolen_beside_the_round(self) -> None:
        self.assertAlmostEqual(self.share(busy=6, stolen=0, own=6), 0)
        self.assertAlmostEqual(self.share(busy=6, stolen=0, own=4), 0.25)
        self.assertAlmostEqual(self.share(busy=6, stolen=1, own=6), 0.125)

    def test_is_never_less_than_nothing(self) -> None:
        self.assertEqual(self.share(busy=3, stolen=0, own=4), 0)  # they are counted in ticks
        self.assertEqual(self.share(busy=3, stolen=2, own=4), 0.25)


class TheJudge(unittest.TestCase):
    def test_has_disturbed_rounds_repeated_and_no_others(self) -> None:
        judge = Judge(most=5)
        self.assertFalse(judge.repeats(0))
        self.assertFalse(judge.repeats(MOST_FOREIGN))
        self.assertTrue(judge.repeats(MOST_FOREIGN + 0.001))
        self.assertEqual((judge.repeated, judge.spoilt), (1, 0))

    def test_ends_on_a_machine_that_is_never_idle(self) -> None:
        judge = Judge(most=2)
        self.assertEqual([judge.repeats(1) for _ in range(4)], [True, True, False, False])
        self.assertEqual((judge.repeated, judge.spoilt), (2, 2))
        self.assertFalse(judge.repeats(0))
        self.assertEqual(judge.spoilt, 2)


if __name__ == "__main__":
    unittest.main()

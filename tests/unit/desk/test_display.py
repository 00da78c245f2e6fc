# SPDX-License-Identifier: MIT
"""What is written where standard output is a terminal, and where it is not."""

import unittest
from collections.abc import Callable

from demo.display import Display, Progress
from demo.terminal import Surface

TWO_MIB = 2 * 1024 * 1024
BOLD, PLAIN, AGAIN, UP = "\033[1m", "\033[0m", "\r\033[K", "\033[A"


def shown(
    use: Callable[[Display], None], *, colour: bool = False, redraws: bool = False, columns: int = 0
) -> str:
    written: list[str] = []
    surface = Surface(colour, redraws, lambda: columns, lambda: "12:34:56", written.append)
    use(Display(surface))
    return "".join(written)


class Lines(unittest.TestCase):
    def test_without_a_terminal_there_is_a_line_every_ten_percent(self) -> None:
        def use(display: Display) -> None:
            for percent in (1, 9, 10, 19, 25, 29, 100):
                display.progress(Progress(percent))
            display.step("written", "yes")

        lines = (
            "  12:34:56 download     10 %\n"
            "  12:34:56 download     25 %\n"
            "  12:34:56 download     100 %\n"
            "  12:34:56 written      yes\n"
        )
        self.assertEqual(shown(use), lines)
        self.assertEqual(shown(use, columns=80), lines)

    def test_a_download_that_starts_over_is_told_from_its_beginning(self) -> None:
        def use(display: Display) -> None:
            display.progress(Progress(90))
            display.progress(Progress(10))

        self.assertEqual(shown(use), "  12:34:56 download     90 %\n  12:34:56 download     10 %\n")

    def test_steps_are_timed_and_without_a_terminal_nothing_is_coloured(self) -> None:
        def use(display: Display) -> None:
            display.title("title")
            display.step("step", "text")
            display.more("and more")
            display.verdict(True, "good")
            display.verdict(False, "bad")

        self.assertEqual(
            shown(use),
            "title\n"
            "  12:34:56 step         text\n"
            "                        and more\n"
            "good\n"
            "bad\n",
        )

    def test_no_line_is_wider_than_the_terminal(self) -> None:
        def narrow(display: Display) -> None:
            display.title("a title that goes on, beyond forty columns")
            # A head of more than half the width leaves it to the terminal.
            display.step("step", "fourteen and a few columns more")
            display.verdict(True, "a verdict that goes on, beyond forty columns")

        self.assertEqual(
            shown(narrow, columns=40),
            "a title that goes on, beyond forty\n"
            "columns\n"
            "  12:34:56 step         fourteen and a few columns more\n"
            "a verdict that goes on, beyond forty\n"
            "columns\n",
        )

        def wide(display: Display) -> None:
            display.step(
                "step", "words up to the fifty-sixth column of the text, then the next line"
            )

        self.assertEqual(
            shown(wide, colour=True, redraws=True, columns=80),
            f"  12:34:56 {BOLD}step         {PLAIN}words up to the fifty-sixth column of the "
            "text, then the\n"
            "                        next line\n",
        )

    def test_a_command_is_broken_where_the_shell_joins_it_again(self) -> None:
        def use(display: Display) -> None:
            display.command(["/some/where/otactl", "--bus unix:path=/a/folder/bus", "status"])

        self.assertEqual(
            shown(use), "    /some/where/otactl --bus unix:path=/a/folder/bus status\n"
        )
        self.assertEqual(
            shown(use, columns=40),
            "    /some/where/otactl \\\n"
            "      --bus unix:path=/a/folder/bus \\\n"
            "      status\n",
        )

    def test_on_a_terminal_the_verdict_has_its_colour(self) -> None:
        def use(display: Display) -> None:
            display.verdict(True, "good")
            display.verdict(False, "bad")

        self.assertEqual(
            shown(use, colour=True, columns=80), f"\033[1;32mgood{PLAIN}\n\033[1;31mbad{PLAIN}\n"
        )

    def test_the_last_step_is_remembered(self) -> None:
        def use(display: Display) -> None:
            display.step("boot", "from bank A")
            display.more("and more")
            self.assertEqual(display.last_step, "boot: from bank A")
            display.progress(Progress(7))
            self.assertEqual(display.last_step, "download: 7 %")

        shown(use, redraws=True)


class Bars(unittest.TestCase):
    def test_a_bar_is_redrawn_and_left_before_the_next_line(self) -> None:
        def use(display: Display) -> None:
            display.progress(Progress(0))
            display.progress(Progress(50, TWO_MIB, 3))
            display.step("written", "yes")
            display.step("again", "yes")

        self.assertEqual(
            shown(use, colour=True, redraws=True, columns=80),
            f"  12:34:56 {BOLD}download     {PLAIN}[---------------------] 0 %"
            f"{AGAIN}  12:34:56 {BOLD}download     {PLAIN}[##########-----------] 50 %, "
            "2.0 MiB/s, 3 s left\n"
            f"  12:34:56 {BOLD}written      {PLAIN}yes\n"
            f"  12:34:56 {BOLD}again        {PLAIN}yes\n",
        )

    def test_a_bar_needs_no_colour(self) -> None:
        self.assertEqual(
            shown(lambda display: display.progress(Progress(100)), redraws=True, columns=80),
            "  12:34:56 download     [#####################] 100 %",
        )

    def test_where_a_bar_has_no_room_there_is_its_text_alone(self) -> None:
        def use(display: Display) -> None:
            display.marked("gateway").progress(Progress(99, TWO_MIB, 1234567890))

        self.assertEqual(
            shown(use, colour=True, redraws=True, columns=40),
            "  gateway  99 %, 2.0 MiB/s, 1234567890 ",
        )

    def test_each_node_has_its_mark_and_a_bar_of_its_own(self) -> None:
        def use(display: Display) -> None:
            one, two = display.marked("ext-1"), display.marked("gateway")
            one.step("boot", "from bank A")
            one.progress(Progress(50))
            two.progress(Progress(5))
            one.step("written", "yes")
            display.step("all", "done")

        ext = "  12:34:56 ext-1    download     [######------] 50 %"
        gateway = "  12:34:56 gateway  download     [------------] 5 %"
        self.assertEqual(
            shown(use, redraws=True, columns=80),
            "  12:34:56 ext-1    boot         from bank A\n" f"{ext}{AGAIN}{ext}\n{gateway}"
            # its bar becomes a line, the other is drawn again
            f"{AGAIN}{UP}{AGAIN}{ext}\n{gateway}"
            f"{AGAIN}  12:34:56 ext-1    written      yes\n{gateway}"
            f"{AGAIN}  12:34:56 all          done\n{gateway}",
        )

    def test_the_bar_is_left_once(self) -> None:
        def use(display: Display) -> None:
            display.leave_bars()
            display.progress(Progress(100))
            display.leave_bars()
            display.leave_bars()

        self.assertEqual(
            shown(use, redraws=True, columns=80),
            "  12:34:56 download     [#####################] 100 %\n",
        )


if __name__ == "__main__":
    unittest.main()

# SPDX-License-Identifier: MIT
"""What a scenario can wait for and expect: the one table that its parser and its player go by."""

import dataclasses
import re
from collections.abc import Callable

from lab.operation import WrongCall
from lab.play.duration import duration, seconds_of
from lab.play.story import Story

NONE = "none"
_WORD = r"[A-Z_]{3,60}"
_VERSION = r"4QZ[A-Za-z0-9._+\-]{1,27}"
_NAME = r"[A-Za-z0-9\-]{1,40}"
STAGES = ("off", "booting", "starting", "idle", "waiting", "downloading", "verifying", "writing",
          "activating", "rebooting", "committing", "reboot-overdue")  # fmt: skip

# Says "" where it holds, else what is there instead.
Look = Callable[[Story, list[str]], str]


@dataclasses.dataclass(frozen=True)
class Kind:
    """A row of the table."""

    pattern: str  # of each value
    help: str
    look: Look
    most: int = 1  # values
    once: str = ""  # what happens and is then waited for no more


@dataclasses.dataclass(frozen=True)
class Condition:
    """As a line of a scenario has it."""

    name: str
    values: tuple[str, ...]

    def __str__(self) -> str:
        return " ".join((self.name, *self.values))

    def instead(self, story: Story) -> str:
        """Empty where it holds."""
        return KINDS[self.name].look(story, list(self.values))

    def done_with(self, story: Story) -> None:
        """It was waited for: what comes next comes behind it."""
        if what := KINDS[self.name].once:
            place = story.behind(what, self.values[0])
            story.waited_from = max(story.waited_from, place or 0)


def _is(found: str, wanted: str) -> str:
    return "" if found == wanted else found or NONE


def _happens(what: str) -> Look:
    def look(story: Story, values: list[str]) -> str:
        if story.behind(what, values[0]) is not None:
            return ""
        return f"not told since; last: {(story.all_of(what) or [NONE])[-1]}"

    return look


def _stage(story: Story, values: list[str]) -> str:
    if story.behind("stage", values[0]) is not None:
        return ""
    return f"{story.fields['stage']}, and not {values[0]} since"


def _exactly(found: list[str], wanted: list[str]) -> str:
    wanted = [] if wanted == [NONE] else wanted
    return "" if found == wanted else " ".join(found) or NONE


def _end(story: Story, values: list[str]) -> str:
    end = story.end()
    return _is(end.result if end else "not ended", values[0])


def _reason(story: Story, values: list[str]) -> str:
    end = story.end()
    return _is(end.reason if end else "not ended", values[0])


def _at_least(found: float | None, wanted: str) -> str:
    return "" if (found or 0) >= float(wanted) else str(found or 0)


def _timer(story: Story, values: list[str]) -> str:
    names = [str(timer["name"]) for timer in story.fields["timers"]]
    if values == [NONE]:
        return " ".join(names)
    return "" if values[0] in names else " ".join(names) or NONE


def _failed(story: Story, values: list[str]) -> str:
    versions = [str(one["version"]) for one in story.fields["failed_versions"]]
    if values == [NONE]:
        return " ".join(versions)
    return "" if values[0] in versions else " ".join(versions) or NONE


def _bank(story: Story, values: list[str]) -> str:
    others = [one for one in story.fields["banks"] if not one["running"]]
    held = str(others[0]["version"]) if others and others[0]["whole"] else NONE
    return _is(held, values[0])


def _passed(story: Story, values: list[str]) -> str:
    gone = story.passed()
    return "" if gone >= seconds_of(values[0]) else duration(gone)


KINDS = {
    "stage": Kind("|".join(STAGES), "the node came to this stage", _stage, once="stage"),
    "word": Kind(_WORD, "it said this status word", _happens("word"), once="word"),
    "event": Kind(_NAME, "its history tells this event", _happens("event"), once="event"),
    "boot": Kind(_VERSION, "it booted this version", _happens("boot"), once="boot"),
    "percent": Kind(r"[0-9]{1,3}", "of the download, or more",
                    lambda story, values: _at_least(story.fields["percentage"], values[0])),
    "timer": Kind(_NAME, "is armed; none: no timer is", _timer),
    "power": Kind("on|off", "of the node",
                  lambda story, values: _is(story.fields["power"], values[0])),
    "root": Kind("connected|gone", "the way to the root", lambda story, values: _is(
        "connected" if story.fields["root_connected"] else "gone", values[0])),
    "passed": Kind(r"[0-9dhms]{2,20}", "so much of the node's own time, or more, since the beginning",
                   _passed),
    "version": Kind(_VERSION, "runs",
                    lambda story, values: _is(story.fields["running_version"], values[0])),
    "bank": Kind(f"{_VERSION}|{NONE}", "the version that the other bank holds whole", _bank),
    "failed": Kind(f"{_VERSION}|{NONE}", "a version that failed its trial there", _failed),
    "end": Kind(_NAME, "how the last ticket that it gave ended, a name of docs/codes.md", _end),
    "reason": Kind(_NAME, "why it ended so, a name of docs/codes.md", _reason),
    "words": Kind(f"{_WORD}|{NONE}", "all status words that it said, in their order",
                  lambda story, values: _exactly(story.all_of("word"), values), most=20),
    "at-root": Kind(f"{_WORD}|{NONE}", "all of its words that reached the root, in their order",
                    lambda story, values: _exactly(story.at_root, values), most=20),
    "boots": Kind(f"{_VERSION}|{NONE}", "all versions that it booted, in their order",
                  lambda story, values: _exactly(story.all_of("boot"), values), most=20),
    "power-lost": Kind("|".join(STAGES), "the stage in which its power went last",
                       lambda story, values: _is(story.lost_power_in, values[0])),
}  # fmt: skip


def condition_of(words: list[str]) -> Condition:
    """From the words of a line."""
    name, values = words[0], tuple(words[1:])
    kind = KINDS.get(name)
    if not kind:
        raise WrongCall(f"there is no condition {name:.30}: there are {', '.join(KINDS)}")
    if not 1 <= len(values) <= kind.most:
        raise WrongCall(f"{name}: expected {'one value' if kind.most == 1 else 'values'} behind it")
    for value in values:
        if not re.fullmatch(kind.pattern, value):
            raise WrongCall(f"{name} {value:.40}: {kind.help}; expected {kind.pattern}")
        if name == "passed":
            seconds_of(value)
    return Condition(name, values)

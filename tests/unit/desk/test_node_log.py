# SPDX-License-Identifier: MIT
"""What lines of a node's log tell."""

import unittest

from demo.node_log import News, NodeLog
from folder_case import FolderCase


class Log(FolderCase):
    def setUp(self) -> None:
        super().setUp()
        self.path = self.folder / "log"
        self.log = NodeLog(self.path)

    def append(self, text: str) -> None:
        with open(self.path, "a", encoding="utf-8") as file:
            file.write(text)

    def test_it_tells_why_downloads_failed_once_and_in_whole_lines(self) -> None:
        self.assertEqual(self.log.news(), [])
        self.append("error: x curl_easy_perform() failed: Timeout was reached\nnotice: y\nDownload")
        failed = (News.FAILED_DOWNLOAD, "failed: Timeout was reached")
        self.assertEqual(self.log.news(), [failed])
        self.append(" Rety Exceeded\n")
        self.assertEqual(self.log.news(), [(News.GAVE_UP, "no further attempt")])
        self.assertEqual(self.log.news(), [])

    def test_it_tells_what_the_bus_does_not(self) -> None:
        self.append(
            "error: nal: the passive bank was not written: it is small\n"
            "error: ota: [upgrade upgrade:29] faild\n"
            "error: nal: the passive bank was not activated: it is damaged\n"
            "notice: ota: [upgrade upgrade:47] Calculated md5 CRC value is = 0a1b\\x0A, length is = "
            "33\n"
            "desk: timer downloadRetryTimer for 1800 s, which pass at once\n"
        )
        self.assertEqual(
            self.log.news(),
            [
                (News.REFUSAL, "it is small"),
                (News.REFUSAL, "it is damaged"),
                (News.CALCULATED, "0a1b"),
                (News.PASSED_TIMER, "downloadRetryTimer for 1800 s, which pass at once"),
            ],
        )


if __name__ == "__main__":
    unittest.main()

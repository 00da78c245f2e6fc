# SPDX-License-Identifier: MIT
"""Whom a path may belong to, and who may write there."""

import os
import unittest

from folder_case import FolderCase
from rig.trusted_path import why_not_trusted, why_not_trusted_above


class Paths(FolderCase):
    def setUp(self) -> None:
        super().setUp()
        self.above = self.folder / "above"
        self.path = self.above / "itself"
        self.path.mkdir(parents=True)

    def test_what_is_this_users_alone_is_trusted(self) -> None:
        self.assertEqual(why_not_trusted(self.path), "")
        self.assertEqual(why_not_trusted(self.path / "not/there/yet"), "")

    def test_what_others_may_write_is_not_and_it_is_named(self) -> None:
        self.path.chmod(0o757)
        self.assertRegex(
            why_not_trusted(self.path), rf"^{self.path} \(owner \d+, mode 0757\) may be written by"
        )
        self.assertNotEqual(why_not_trusted(self.path / "not/there/yet"), "")
        self.assertEqual(why_not_trusted_above(self.path), "")
        self.path.chmod(0o755)
        self.above.chmod(0o757)
        self.assertIn(f"{self.above} (owner", why_not_trusted(self.path))
        self.assertIn(f"{self.above} (owner", why_not_trusted_above(self.path))

    def test_where_a_link_leads_counts(self) -> None:
        (self.folder / "link").symlink_to("above/../above")
        self.assertEqual(why_not_trusted(self.folder / "link/itself"), "")
        self.above.chmod(0o777)
        self.assertIn(f"{self.above} (owner", why_not_trusted(self.folder / "link/itself"))
        (self.folder / "round").symlink_to("round")
        self.assertIn("leads nowhere", why_not_trusted(self.folder / "round"))

    @unittest.skipUnless(os.geteuid() == 0, "only root can give a folder away")
    def test_what_is_somebody_elses_is_not_and_a_sticky_folder_of_root_is(self) -> None:
        self.above.chmod(0o1777)
        self.assertEqual(why_not_trusted(self.path), "")
        self.assertNotEqual(why_not_trusted(self.above), "")
        os.chown(self.above, 65534, 65534)
        self.assertIn("belongs to neither root nor", why_not_trusted(self.path))
        os.chown(self.above, 0, 0)
        (self.folder / "link").symlink_to(self.path)
        os.lchown(self.folder / "link", 65534, 65534)
        self.assertIn("belongs to neither root nor", why_not_trusted(self.folder / "link"))


if __name__ == "__main__":
    unittest.main()

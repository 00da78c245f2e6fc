# SPDX-License-Identifier: MIT
"""The page of the lab in a real browser: seen, clicked, steered by keys, measured."""

import contextlib
import pathlib
import statistics
import sys
import time

from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

import browser as browsers
import lab_case
from rig.waiting import wait_for

# What a person with a screen reader, a keyboard or weak eyes would stumble over; each as a line.
_AUDIT = """
const wrong = [];
const seen = (element) => element.getClientRects().length > 0;
const named = (element) => (element.getAttribute("aria-label") || element.textContent.trim() ||
  (element.labels && element.labels.length && element.labels[0].textContent.trim()) ||
  (element.getAttribute("aria-labelledby") &&
   document.getElementById(element.getAttribute("aria-labelledby"))));
for (const one of document.querySelectorAll("button, input, select, a[href], [tabindex='0'], progress")) {
  if (seen(one) && !named(one)) wrong.push("no name: " + one.outerHTML.slice(0, 90));
  if (one.tabIndex > 0) wrong.push("an order of its own: " + one.outerHTML.slice(0, 90));
}
const ids = [...document.querySelectorAll("[id]")].map((one) => one.id);
for (const id of ids) if (ids.indexOf(id) !== ids.lastIndexOf(id)) wrong.push("twice: " + id);
if (document.querySelectorAll("h1").length !== 1) wrong.push("not one h1");
for (const image of document.querySelectorAll("img:not([alt])")) wrong.push("no alt: " + image.src);
const canvas = document.createElement("canvas").getContext("2d", {willReadFrequently: true});
const pixel = (color, under) => {
  canvas.fillStyle = under; canvas.fillRect(0, 0, 1, 1);
  canvas.fillStyle = color; canvas.fillRect(0, 0, 1, 1);
  return [...canvas.getImageData(0, 0, 1, 1).data].slice(0, 3);
};
const css = (rgb) => `rgb(${rgb.join(",")})`;
const light = (rgb) => {
  const [r, g, b] = rgb.map((v) => v / 255).map((v) => v <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4);
  return 0.2126 * r + 0.7152 * g + 0.0722 * b;
};
const behind = (element) => {
  const chain = [];
  for (let one = element; one; one = one.parentElement) chain.unshift(getComputedStyle(one).backgroundColor);
  return chain.reduce((under, color) => css(pixel(color, under)), "rgb(255,255,255)");
};
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
const told = new Set();
while (walker.nextNode()) {
  const element = walker.currentNode.parentElement;
  if (!walker.currentNode.textContent.trim() || !seen(element) || element.closest("option")) continue;
  const style = getComputedStyle(element);
  const color = element.namespaceURI.endsWith("svg") ? style.fill : style.color;
  const under = behind(element);
  const [a, b] = [light(pixel(color, under)), light(pixel(under, under))];
  const ratio = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
  const key = element.className + color + under;
  if (ratio < 4.5 && !told.has(key)) {
    told.add(key);
    wrong.push(`contrast ${ratio.toFixed(2)}: ${element.tagName}.${element.getAttribute("class")} "${element.textContent.slice(0, 30)}"`);
  }
}
if (document.documentElement.scrollWidth > innerWidth) wrong.push("wider than the window");
return wrong;
"""

_CARD = "//article[.//label[text()='{name}']]"


class Page(lab_case.Case):
    """Names decide the order: one browser, one lab."""

    pictures = pathlib.Path()

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.browser = browsers.open_browser()
        cls.addClassCleanup(cls.browser.quit)
        cls.pictures.mkdir(parents=True, exist_ok=True)
        began = time.monotonic()
        cls.browser.get(cls.lab.url)
        wait_for("the page shows every node", lambda: len(cls.cards()) == 3)
        print(f"page: ready {time.monotonic() - began:.1f} s after it was asked for", flush=True)

    def tearDown(self):
        self.browser.save_screenshot(str(self.pictures / f"{self._testMethodName}.png"))
        errors = [entry["message"] for entry in self.browser.get_log("browser")
                  if entry["level"] == "SEVERE" and "ERR_CONNECTION_REFUSED" not in entry["message"]]  # fmt: skip
        self.assertEqual(errors, [])

    @classmethod
    def cards(cls):
        return browsers.cards(cls.browser)

    def card(self, name):
        return self.browser.find_element(By.XPATH, _CARD.format(name=name)).text

    def press(self, *keys):
        self.browser.find_element(By.TAG_NAME, "body").send_keys(*keys)

    def settle(self):
        self.lab.wait_for_nodes(
            "every node is idle",
            ["gateway", "ext-1", "ext-2"],
            lambda node: node["stage"] == "idle",
        )

    def fill(self, id_, text):
        field = self.browser.find_element(By.ID, id_)
        field.clear()
        field.send_keys(text)
        return field

    def test_1_an_offer_by_click(self):
        self.fill("offer-version", "4QZ2.0.0")
        self.browser.find_element(By.XPATH, "//button[text()='offer']").click()
        for name in ("gateway", "ext-1", "ext-2"):
            wait_for(
                f"{name} has committed", lambda name=name: lab_case.COMMITTED in self.card(name)
            )
            self.assertIn("4QZ2.0.0", self.card(name))
            self.assertIn("after the reboot the version runs", self.card(name))
        self.settle()
        wait_for("its answers", lambda: "offer ext-2: ticket 1" in self.answers())
        marks = "#timeline-picture .mark.word"
        wait_for(
            "every word on the timeline",
            lambda: len(self.browser.find_elements(By.CSS_SELECTOR, marks)) >= 6,
        )

    def answers(self):
        return self.browser.find_element(By.ID, "answers").text

    def test_2_a_second_window_shows_the_same(self):
        first = self.browser.current_window_handle
        self.browser.switch_to.new_window("window")
        try:
            self.browser.get(self.lab.url)
            wait_for("the second shows every node", lambda: len(self.cards()) == 3)
            second = [card.text for card in self.cards()]
            self.lab.tell("unplug", nodes=["ext-2"])
            wait_for("it sees a plug pulled", lambda: "off" in self.card("ext-2"))
        finally:
            self.browser.close()
            self.browser.switch_to.window(first)
        self.assertEqual(len(second), 3)
        self.assertIn(lab_case.COMMITTED, second[0])
        wait_for("so does the first", lambda: "off" in self.card("ext-2"))
        self.lab.tell("plug", nodes=["ext-2"])
        self.settle()

    def test_3_a_plug_by_key(self):
        self.press("1")
        self.press("u")
        off = self.lab.wait_for_nodes("it is off", ["ext-1"], lambda node: node["power"] == "off")
        self.assertEqual([off[name]["power"] for name in ("gateway", "ext-2")], ["on", "on"])
        self.press("p")
        self.settle()
        self.press("1")
        wait_for("none is chosen", lambda: "for all nodes" in self.chosen())

    def chosen(self):
        return self.browser.find_element(By.ID, "chosen-text").text

    def test_3_the_clock_by_key(self):
        self.offer(["ext-2"], "4QZ2.5.0", policy=0)
        wait_for("its timer", lambda: "rebootTimer rings in" in self.card("ext-2"))
        self.press("2")
        self.press("n")
        self.wait_for_commit(["ext-2"], "4QZ2.5.0")
        wait_for("its clock is shown", lambda: "its clock: 2" in self.card("ext-2"))
        self.press("2")
        self.assertIn("for all nodes", self.chosen())

    def test_3_the_log_of_a_moment(self):
        """Under the pointer, and by the arrow keys."""
        tip = self.browser.find_element(By.ID, "timeline-tip")
        bar = wait_for("a bar", lambda: self.browser.execute_script(
            "const bars = [...document.querySelectorAll('#timeline-picture .bar')];"
            "const box = (bars.find((one) => one.dataset.stage === 'idle') || bars[0])"
            ".getBoundingClientRect(); return [box.left + box.width / 2, box.top + 5]"))  # fmt: skip
        self.browser.execute_script(
            "const [x, y] = arguments; document.elementFromPoint(x, y).dispatchEvent("
            "new MouseEvent('mousemove', {clientX: x, clientY: y, bubbles: true}))", *bar)  # fmt: skip
        wait_for("lines of the log", lambda: "notice: " in tip.text)
        self.assertIn("gateway", tip.text)
        picture = self.browser.find_element(By.ID, "timeline-picture")
        self.browser.execute_script("arguments[0].focus()", picture)
        seen = set()
        moment = self.browser.find_element(By.ID, "timeline-moment")
        for key in (Keys.ARROW_LEFT, Keys.ARROW_LEFT, Keys.ARROW_DOWN, Keys.ARROW_LEFT):
            self.press_active(key)
            wait_for("another moment", lambda: moment.text and moment.text not in seen)
            seen.add(moment.text)
        self.assertIn("ext-1", tip.text)
        self.assertEqual(len(self.browser.find_elements(By.CSS_SELECTOR, "circle.cursor")), 1)
        self.press_active(Keys.ESCAPE)
        wait_for("it is put away", lambda: not tip.is_displayed())

    def test_3_what_a_power_cut_took_and_what_the_guard_printed(self):
        self.lab.tell("watch-storage", nodes=["ext-1"])
        self.settle()
        self.lab.tell("file-server", rate=1_000_000)
        self.offer(["ext-1"], "4QZ2.6.0")
        self.browser.find_element(By.XPATH, _CARD.format(name="ext-1") + "//footer//button").click()
        self.view("descriptor")
        pair = [self.browser.find_element(By.ID, f"inside-{one}") for one in ("pre", "printed")]
        for one in pair:
            wait_for("both descriptors", lambda one=one: '"nxtMSVersion": "4QZ2.6.0"' in one.text)
        self.lab.tell("unplug", nodes=["ext-1"])
        self.view("power cut")
        wait_for("what was lost", lambda: "What the last power cut took:" in pair[0].text
                 and "and is gone" in pair[0].text)  # fmt: skip
        self.assertFalse(pair[1].is_displayed())
        self.lab.tell("file-server", rate=0)
        self.lab.tell("plug", nodes=["ext-1"])
        self.wait_for_commit(["ext-1"], "4QZ2.6.0")
        self.lab.tell("watch-storage", nodes=["ext-1"], state="plain")
        self.view("log")
        self.settle()

    def view(self, name):
        self.browser.find_element(
            By.XPATH, f"//div[@id='inside-views']/button[text()='{name}']"
        ).click()

    def test_4_a_scenario_by_click(self):
        """Recorded on the page, then played from it; a second window shows its steps too."""
        find = self.browser.find_element

        def states():
            return self.browser.execute_script(
                "return [...document.querySelectorAll('#scenario-steps li')]"
                ".map((line) => line.dataset.state)"
            )

        find(By.ID, "scenario-record").click()
        text = find(By.ID, "scenario-text")
        wait_for("it records", lambda: "extenders  2" in text.text)
        self.lab.tell("health", nodes=["ext-2"], state="fails")
        wait_for("the step", lambda: "health ext-2 --state fails" in text.text)
        wait_for("the button", lambda: find(By.ID, "scenario-record").text == "End the recording")
        find(By.ID, "scenario-record").click()
        wait_for("it is whole", lambda: "expect all version 4QZ1.0.0" in text.text)
        find(By.XPATH, "//select[@id='scenario-choice']/option[.='upgrade']").click()
        find(By.ID, "scenario-play").click()
        wait_for("its first step", lambda: "running" in states())
        verdict = find(By.ID, "scenario-verdict")
        wait_for("its verdict", lambda: "upgrade: passed" in verdict.text)
        self.assertEqual(set(states()), {"done"})
        self.browser.refresh()
        wait_for("it is still there", lambda: set(states()) == {"done"})

    def test_4_by_keyboard_alone(self):
        """Every control is reached by Tab, in the order in which it is read, and shows that it is."""
        self.browser.get(self.lab.url)
        wait_for("the page shows every node", lambda: len(self.cards()) == 3)
        order = []
        for _ in range(120):
            self.press_active(Keys.TAB)
            here = self.browser.execute_script(
                "const e = document.activeElement; const b = e.getBoundingClientRect();"
                "return [e.tagName, e.id || e.textContent, getComputedStyle(e).outlineStyle,"
                " e.matches('.node'), e === document.body]"
            )
            if here[4]:
                break
            self.assertTrue(here[2] != "none" or here[3], f"nothing shows the focus: {here}")
            order.append(here[1])
        self.assertEqual(order[0], "To the actions")
        wanted = ["keys", "theme", "chip-none", "offer-version", "choose-gateway", "inside-node"]
        places = [order.index(one) for one in wanted]
        self.assertEqual(places, sorted(places), order)
        self.press("?")
        dialog = self.browser.find_element(By.ID, "key-list")
        wait_for("the list of keys", dialog.is_displayed)
        self.press_active(Keys.ESCAPE)
        wait_for("it is closed", lambda: not dialog.is_displayed())

    def press_active(self, key):
        self.browser.switch_to.active_element.send_keys(key)

    def test_5_names_contrast_and_width(self):
        for scheme in ("light", "dark"):
            for width in (360, 1280, 3840):
                with self.subTest(scheme=scheme, width=width), self.seen_as(scheme, width):
                    self.assertEqual(self.browser.execute_script(_AUDIT), [])
                    path = self.pictures / f"{scheme}-{width}.png"
                    self.browser.save_screenshot(str(path))

    @contextlib.contextmanager
    def seen_as(self, scheme, width):
        run = self.browser.execute_cdp_cmd
        features = [{"name": "prefers-color-scheme", "value": scheme},
                    {"name": "prefers-reduced-motion", "value": "reduce"}]  # fmt: skip
        size = {"width": width, "height": 1200, "deviceScaleFactor": 1, "mobile": False}
        run("Emulation.setEmulatedMedia", {"features": features})
        run("Emulation.setDeviceMetricsOverride", size)
        try:
            wait_for(
                "the drawing fits", lambda: self.browser.execute_script(
                    "const d = document.querySelector('#drawing');"
                    "return d.firstChild.clientWidth === Math.floor(d.clientWidth)")
            )  # fmt: skip
            yield
        finally:
            run("Emulation.setEmulatedMedia", {"features": []})
            run("Emulation.clearDeviceMetricsOverride", {})

    def test_6_what_a_node_says_is_only_text(self):
        """A log line and a reason that look like a page."""
        self.lab.tell("file-server", state="good", rate=0)
        with open(self.lab.folder / "nodes/gateway.log", "a", encoding="utf-8") as log:
            log.write("<img src=x onerror=document.title='owned'><b id=owned>x</b>\n")
        self.press("l")
        wait_for("the line is there", lambda: "<b id=owned>" in self.browser.find_element(
            By.ID, "inside-pre").text)  # fmt: skip
        self.assertEqual(self.browser.find_elements(By.ID, "owned"), [])
        self.assertEqual(self.browser.title, "The lab")

    def test_7_events_are_on_the_page_at_once(self):
        """From the moment that the lab knew to the moment that the page was painted."""
        browsers.watch_delays(self.browser)
        self.lab.tell("file-server", rate=2_000_000)
        self.offer(["all"], "4QZ3.0.0")
        self.wait_for_commit(["gateway", "ext-1", "ext-2"], "4QZ3.0.0")
        waits = wait_for("marks", lambda: browsers.delays(self.browser))
        median = statistics.median(waits)
        print(f"page: {len(waits)} events, {median * 1000:.0f} ms (median)", flush=True)
        self.assertGreater(len(waits), 30)
        self.assertLess(median, 1.0)  # 0.2 on an idle machine

    def test_8_it_finds_a_lab_again_that_was_restarted(self):
        self.lab.stop()
        summary = self.browser.find_element(By.ID, "summary")
        wait_for("the page says so", lambda: "does not answer" in summary.text)
        self.lab.start().wait_until_up()
        wait_for("the page is back", lambda: "3 nodes, 3 on, 0 busy" in summary.text)
        self.assertIn("4QZ3.0.0", self.card("ext-1"))


if __name__ == "__main__":
    sys.exit(lab_case.run(Page))

# SPDX-License-Identifier: MIT
"""Chromium without a window, as the tests of the page and the measurement drive it."""

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

_OPTIONS = (
    "--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
    "--no-proxy-server", "--window-size=1280,1000",
)  # fmt: skip

# Of each mark: from the moment that the lab knew of it to the moment that the page was painted.
_WATCH = """
const done = arguments[0];
window.seen = [];
import("./stream.js").then((stream) => {
  stream.listen((change) => {
    const marks = change.all ? [] : change.marks.map((one) => one.at);
    setTimeout(() => marks.forEach((at) => window.seen.push(Date.now() / 1000 - at)), 0);
  });
  done();
});
"""


def open_browser() -> webdriver.Chrome:
    options = Options()
    options.binary_location = "/usr/bin/chromium"
    for option in _OPTIONS:
        options.add_argument(option)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def cards(browser: webdriver.Chrome) -> list:
    return browser.find_elements(By.CSS_SELECTOR, "article.card")


def watch_delays(browser: webdriver.Chrome) -> None:
    browser.execute_async_script(_WATCH)


def delays(browser: webdriver.Chrome) -> list[float]:
    """Seconds, of every mark since watch_delays()."""
    return list(browser.execute_script("return window.seen"))

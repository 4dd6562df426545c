"""Chromium as the tests of the report's page use it: without a window, without a network."""

import base64
import json
import os
import subprocess
import tempfile
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.service import Service

WORK = Path(os.environ["PAGES_WORK"]).resolve()
AXE = Path(os.environ["PAGES_AXE"])
REPORT = Path(os.environ["RUXOGPS_REPORT"]).resolve()

DESKTOP = (1280, 900)
PHONE = (360, 740)
NOWHERE = "127.0.0.1:9"  # a proxy that isn't there: what a page asks of a network fails


def make_page(recording, page, *options):
    subprocess.run([REPORT, recording, "-o", page, *options], check=True, capture_output=True)
    return page


class Browser:
    """A browser with a profile of its own, which goes with it."""

    def __init__(self):
        self.profile = tempfile.TemporaryDirectory(dir=WORK, ignore_cleanup_errors=True)
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for argument in ("--headless=new", "--disable-gpu", "--disable-background-networking", "--disable-dev-shm-usage",
                         "--no-first-run", "--hide-scrollbars", f"--proxy-server={NOWHERE}",
                         f"--user-data-dir={self.profile.name}"):
            options.add_argument(argument)
        if os.geteuid() == 0:
            options.add_argument("--no-sandbox")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)

    def close(self):
        self.driver.quit()
        self.profile.cleanup()

    def command(self, name, **parameters):
        return self.driver.execute_cdp_cmd(name, parameters)

    def look(self, size=DESKTOP, scheme="light", media="screen", script=True):
        """How pages are shown from now on."""
        width, height = size
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                     mobile=size == PHONE)
        self.command("Emulation.setEmulatedMedia", media=media,
                     features=[{"name": "prefers-color-scheme", "value": scheme}])
        self.command("Emulation.setScriptExecutionDisabled", value=not script)

    def open(self, page):
        self.complaints(), self.requests()  # those of the page before
        self.driver.get(Path(page).resolve().as_uri())

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def complaints(self):
        """What the page has put on the console, blocked and missing things included."""
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def requests(self):
        """All that the page has asked for."""
        entries = (json.loads(entry["message"])["message"] for entry in self.driver.get_log("performance"))
        return [entry["params"]["request"]["url"] for entry in entries if entry["method"] == "Network.requestWillBeSent"]

    def violations(self):
        """What axe finds, each as a line: rule, words, and the first elements that it is about."""
        self.run(AXE.read_text(encoding="utf-8"))
        found = self.driver.execute_async_script("axe.run({preload: false}).then(arguments[arguments.length - 1])")
        return [f"{each['id']}: {each['help']}: " + ", ".join(node["html"][:120] for node in each["nodes"][:3])
                for each in found["violations"]]

    def printed(self):
        """The page as PDF."""
        return base64.b64decode(self.driver.print_page())

    def screenshot(self, file):
        self.driver.save_screenshot(str(file))

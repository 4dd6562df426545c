"""The report's page as its reader meets it: in Chromium, on a screen, on a phone, in the dark, on paper, by keyboard."""

import os
import re
import subprocess
import sys
import time
import unittest

import recordings
from browser import DESKTOP, PHONE, REPORT, WORK, Browser, make_page
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

RECORDING = WORK / "eventful.jsonl"
PAGE = WORK / "eventful.html"
WHAT_IF = WORK / "what-if.html"
CUT_RECORDING = WORK / "cut.jsonl"
CUT = WORK / "cut.html"
OTHER_RECORDING = WORK / "other.jsonl"
OTHER = WORK / "other.html"
PICTURE = WORK / "picture.png"
DAY_RECORDING = WORK / "day.jsonl"
DAY = WORK / "day.html"

MAP = "#map"
SLIDER = "#time"     # the time, which the keys move
PLOT = ".plot"       # a chart over time, which mouse and finger move along
HERE = "#here"       # where the vehicle was then, on the track
VALUES = "#readout"  # what it read then

MADE_S = 10
LOADED_S = 3
LARGEST_BYTES = 5e6
FRAME_MS = 16

browser = None


def setUpModule():
    global browser
    recordings.eventful(RECORDING)
    make_page(RECORDING, PAGE)
    make_page(RECORDING, WHAT_IF, "--what-if", "margin=2500,interval=5")
    browser = Browser()


def tearDownModule():
    browser.close()
    if not os.environ.get("PAGES_KEEP"):
        for file in (*WORK.glob("*.jsonl"), *WORK.glob("*.html"), PICTURE):
            file.unlink(missing_ok=True)


class Harness(unittest.TestCase):
    """What would be amiss with a page is found."""

    BAD = """<!DOCTYPE html><html><head><title>bad</title></head><body><img src="http://example.invalid/map.png">
        <p style="color: #ccc; background: #ddd">pale</p><script>missing()</script></body></html>"""

    def test_finds_what_is_amiss(self):
        OTHER.write_text(self.BAD, encoding="utf-8")
        browser.look()
        browser.open(OTHER)
        self.assertTrue(any("missing is not defined" in each for each in browser.complaints()))
        self.assertIn("http://example.invalid/map.png", browser.requests())
        found = " ".join(browser.violations())
        for rule in ("image-alt", "color-contrast", "html-has-lang"):
            self.assertIn(rule, found)


class PageTest(unittest.TestCase):
    def open(self, page=PAGE, **look):
        browser.look(**look)
        browser.open(page)

    def find(self, selector):
        return browser.driver.find_element(By.CSS_SELECTOR, selector)

    def stated(self, count):
        """The number that the page states of this kind."""
        return int(self.find(f"#data-count-{count}").get_attribute("value"))

    def place(self):
        place = self.find(HERE).rect
        return place["x"] + place["width"] / 2, place["y"] + place["height"] / 2


class Opening(PageTest):
    def test_brings_no_complaint(self):
        for page in (PAGE, WHAT_IF):
            self.open(page)
            self.assertEqual(browser.complaints(), [])

    def test_brings_no_complaint_wherever_the_drive_was(self):
        for where in ((52.5, 179.999), (-52.5, -179.999), (89.99, 0), (-89.99, 90)):
            recordings.eventful(OTHER_RECORDING, *where)
            self.open(make_page(OTHER_RECORDING, OTHER))
            self.assertEqual(browser.complaints(), [], where)
            self.assertEqual(self.stated("fixes"), recordings.counts(OTHER_RECORDING)["fixes"])

    def test_brings_no_complaint_without_a_fix(self):
        recordings.without_fix(OTHER_RECORDING)
        self.open(make_page(OTHER_RECORDING, OTHER))
        self.assertEqual(browser.complaints(), [])
        self.assertEqual(self.stated("samples"), 120)
        self.assertEqual(browser.violations(), [])

    def test_asks_for_nothing_but_the_page_itself(self):
        for page in (PAGE, WHAT_IF):
            self.open(page)
            others = [url for url in browser.requests() if url != page.resolve().as_uri()]
            self.assertEqual([url for url in others if not url.startswith("data:")], [])

    def test_has_a_title_and_a_language(self):
        self.open()
        self.assertIn("eventful", browser.driver.title)
        self.assertEqual(self.find("html").get_attribute("lang"), "en")

    def test_shows_the_drawing_without_script_too(self):
        self.open(script=False)
        self.assertGreater(self.find(MAP).rect["height"], 100)
        self.assertEqual(self.stated("lines"), recordings.counts(RECORDING)["lines"])


class Numbers(PageTest):
    def test_are_those_of_the_recording(self):
        self.open()
        counts = recordings.counts(RECORDING)
        self.assertEqual({count: self.stated(count) for count in counts}, counts)

    def test_are_seen_as_they_are_stated(self):
        self.open()
        for each in browser.driver.find_elements(By.CSS_SELECTOR, "[id^=data-count-]"):
            self.assertEqual(re.sub(r"\D", "", each.text), each.get_attribute("value"), each.get_attribute("id"))


    def test_of_a_recording_that_was_cut_are_those_before_the_cut(self):
        recordings.cut(CUT_RECORDING, RECORDING)
        self.open(make_page(CUT_RECORDING, CUT))
        expected = {**recordings.counts(RECORDING), "lines": recordings.counts(RECORDING)["lines"] - 1}
        self.assertEqual({count: self.stated(count) for count in expected}, expected)
        self.assertEqual(self.stated("damage"), 1)
        self.assertIn("the last line is cut", self.find("body").text)

    def test_stand_side_by_side_with_those_of_other_settings(self):
        self.open(WHAT_IF)
        counts = recordings.counts(RECORDING)
        for kind in ("entered", "left"):
            self.assertEqual(int(self.find(f"#data-recorded-{kind}").get_attribute("value")), counts[kind])
            self.find(f"#data-what-if-{kind}")
        odometers = [self.find(f"#data-{whose}-odometer").get_attribute("value") for whose in ("recorded", "what-if")]
        self.assertNotEqual(odometers[0], odometers[1])


class Names(PageTest):
    def test_stand_as_text_whatever_they_hold(self):
        self.open()
        self.assertIn(recordings.AWKWARD_NAME, self.find("body").text)
        scripts = browser.driver.find_elements(By.CSS_SELECTOR, "script:not([type='application/json'])")
        self.assertEqual(len(scripts), 1)


class Time(PageTest):
    def plots(self):
        return browser.driver.find_elements(By.CSS_SELECTOR, PLOT)

    def point_at(self, plot, share):
        """Moves the mouse to where so much of the plot's width is left of it."""
        offset = int(plot.size["width"] * (share - 0.5))
        ActionChains(browser.driver, duration=0).move_to_element_with_offset(plot, offset, 0).perform()
        self.wait_for_frame()

    def wait_for_frame(self):
        browser.driver.execute_async_script("const done = arguments[0]; requestAnimationFrame(() => requestAnimationFrame(done))")

    def test_shows_place_and_values_under_the_mouse(self):
        self.open()
        for plot in self.plots():
            seen = []
            for share in (0.15, 0.8):
                self.point_at(plot, share)
                seen.append((self.place(), self.find(VALUES).text))
            self.assertNotEqual(seen[0][0], seen[1][0])
            self.assertNotEqual(seen[0][1], seen[1][1])

    def test_puts_the_place_where_the_map_has_first_and_last_fix(self):
        for page in (PAGE, WHAT_IF):
            self.open(page)
            apart = browser.run("""
                const slider = document.querySelector(arguments[0]);
                const here = document.querySelector(arguments[1]);
                const place = each => each.getAttribute('transform').match(/-?[\\d.]+/g).map(Number);
                return [...document.querySelectorAll('#map .mark.begin, #map .mark.finish')].map(mark => {
                    slider.value = mark.dataset.t;
                    slider.dispatchEvent(new Event('input'));
                    const [[x, y], [markX, markY]] = [place(here), place(mark)];
                    return Math.hypot(x - markX, y - markY);
                })""", SLIDER, HERE)
            self.assertEqual(len(apart), 2)
            self.assertLessEqual(max(apart), 1)  # of 1,000 units

    def test_is_moved_by_the_keys(self):
        self.open()
        slider = self.find(SLIDER)
        slider.send_keys(Keys.HOME)
        said = [slider.get_attribute("aria-valuetext")]
        for key in (Keys.ARROW_RIGHT, Keys.PAGE_DOWN, Keys.END):
            slider.send_keys(key)
            said.append(slider.get_attribute("aria-valuetext"))
        self.assertEqual(len(set(said)), 4, said)
        self.assertEqual(browser.complaints(), [])

    def test_is_reached_by_the_tab_key_and_shows_that(self):
        self.open()
        for _ in range(20):
            ActionChains(browser.driver).send_keys(Keys.TAB).perform()
            if browser.run("return document.activeElement.matches(arguments[0])", SLIDER):
                break
        self.assertTrue(browser.run("return document.activeElement.matches(arguments[0])", SLIDER))
        outline = browser.run("const s = getComputedStyle(document.activeElement); return [s.outlineStyle, s.outlineWidth]")
        self.assertNotEqual(outline[0], "none")
        self.assertNotEqual(outline[1], "0px")

    def test_can_be_touched(self):
        self.open(size=PHONE)
        plot = self.plots()[0]
        browser.run("arguments[0].scrollIntoView({block: 'center'})", plot)
        before = self.find(VALUES).text
        where = browser.run("return arguments[0].getBoundingClientRect()", plot)
        point = {"x": where["x"] + where["width"] * 0.4, "y": where["y"] + where["height"] / 2}
        browser.command("Input.dispatchTouchEvent", type="touchStart", touchPoints=[point])
        browser.command("Input.dispatchTouchEvent", type="touchEnd", touchPoints=[])
        self.wait_for_frame()
        self.assertNotEqual(self.find(VALUES).text, before)


class Axe(PageTest):
    def expect_nothing(self, page, **look):
        self.open(page, **look)
        self.assertEqual(browser.violations(), [])

    def test_finds_nothing_in_light(self):
        self.expect_nothing(PAGE, size=DESKTOP, scheme="light")

    def test_finds_nothing_in_dark(self):
        self.expect_nothing(PAGE, size=DESKTOP, scheme="dark")

    def test_finds_nothing_on_a_phone(self):
        for scheme in ("light", "dark"):
            self.expect_nothing(PAGE, size=PHONE, scheme=scheme)

    def test_finds_nothing_side_by_side(self):
        for size in (DESKTOP, PHONE):
            self.expect_nothing(WHAT_IF, size=size, scheme="light")


class Looks(PageTest):
    def background(self, scheme):
        self.open(scheme=scheme)
        colour = browser.run("return getComputedStyle(document.documentElement).backgroundColor + ' ' + "
                             "getComputedStyle(document.body).backgroundColor")
        return next(sum(map(int, rgb)) for rgb in re.findall(r"rgb\((\d+), (\d+), (\d+)\)", colour))

    def test_follow_the_readers_scheme(self):
        self.assertGreater(self.background("light"), 600)
        self.assertLess(self.background("dark"), 200)

    def test_need_no_sideways_scrolling_on_a_phone(self):
        for page in (PAGE, WHAT_IF):
            self.open(page, size=PHONE)
            self.assertLessEqual(browser.run("return document.documentElement.scrollWidth"), PHONE[0])


class Map(PageTest):
    """Of a drive that goes straight east and west."""

    @classmethod
    def setUpClass(cls):
        recordings.flat(OTHER_RECORDING)
        make_page(OTHER_RECORDING, OTHER)

    def share(self, what):
        """Of the map's width."""
        return browser.run("const map = document.querySelector(arguments[0]).getBoundingClientRect(); "
                           "return (" + what + ") / map.width", MAP)

    def test_is_as_high_as_any_other_beside_the_charts(self):
        self.open(OTHER, size=(1440, 1000))
        self.assertAlmostEqual(self.share("map.height"), 0.8, delta=0.01)

    def test_is_flat_above_the_charts(self):
        self.open(OTHER, size=PHONE)
        self.assertAlmostEqual(self.share("map.height"), 0.42, delta=0.01)

    def test_has_a_metre_as_long_to_the_north_as_to_the_east(self):
        for size in ((1440, 1000), (1440, 500), PHONE):
            self.open(OTHER, size=size)
            metre = browser.run("const m = document.querySelector(arguments[0]).getScreenCTM(); return [m.a, m.d]", MAP)
            self.assertAlmostEqual(metre[0], metre[1], places=4)

    def test_has_north_and_scale_in_its_corners(self):
        for size in ((1440, 1000), (1440, 500), PHONE):
            self.open(OTHER, size=size)
            box = "document.querySelector('#map .%s').getBoundingClientRect()"
            for distance in ("map.right - " + box % "north" + ".right", box % "north" + ".top - map.top",
                             box % "scale" + ".left - map.left", "map.bottom - " + box % "scale" + ".bottom"):
                self.assertTrue(0 < self.share(distance) < 0.05, (size, distance, self.share(distance)))


class Paper(PageTest):
    def test_takes_the_page(self):
        self.open(scheme="dark")
        paper = browser.printed()
        self.assertEqual(paper[:5], b"%PDF-")
        self.assertIn(len(re.findall(rb"/Type\s*/Page\b", paper)), range(1, 20))

    def test_is_white(self):
        self.open(scheme="dark", media="print")
        colour = browser.run("return getComputedStyle(document.body).backgroundColor")
        self.assertIn(colour, ("rgb(255, 255, 255)", "rgba(0, 0, 0, 0)"))


class Picture(unittest.TestCase):
    def test_is_made_by_its_command(self):
        subprocess.run(["tools/pictures/screenshot", "--build", REPORT.parents[2], "--output", PICTURE, RECORDING], check=True)
        head = PICTURE.read_bytes()[:24]
        self.assertEqual(head[:8], b"\x89PNG\r\n\x1a\n")
        self.assertEqual(int.from_bytes(head[16:20], "big"), 1000)


class WholeDay(PageTest):
    @classmethod
    def setUpClass(cls):
        recordings.whole_day(DAY_RECORDING)
        began = time.monotonic()
        make_page(DAY_RECORDING, DAY)
        cls.made_s = time.monotonic() - began

    def test_is_made_in_less_than_10_s(self):
        print(f"{self.made_s:.1f} s ... ", end="", file=sys.stderr)
        self.assertLess(self.made_s, MADE_S)

    def test_is_a_page_of_less_than_5_mb(self):
        size = DAY.stat().st_size
        print(f"{size / 1e6:.2f} MB ... ", end="", file=sys.stderr)
        self.assertLess(size, LARGEST_BYTES)

    def test_loads_in_less_than_3_s(self):
        self.open(DAY)
        loaded_ms = browser.run("return performance.getEntriesByType('navigation')[0].loadEventEnd")
        print(f"{loaded_ms / 1000:.2f} s ... ", end="", file=sys.stderr)
        self.assertGreater(loaded_ms, 0)
        self.assertLess(loaded_ms / 1000, LOADED_S)

    def test_states_all_its_numbers(self):
        self.open(DAY)
        counts = recordings.counts(DAY_RECORDING)
        self.assertEqual({count: self.stated(count) for count in counts}, counts)

    def test_shows_each_time_within_a_frame(self):
        self.open(DAY)
        slider = self.find(SLIDER)
        slider.send_keys(Keys.HOME)
        took_ms = browser.run("""
            const slider = arguments[0], began = performance.now();
            for (let i = 0; i < 100; ++i)
                slider.dispatchEvent(new KeyboardEvent('keydown', {key: 'ArrowRight', bubbles: true}));
            return performance.now() - began""", slider)
        self.assertLess(took_ms / 100, FRAME_MS)


if __name__ == "__main__":
    unittest.main()

# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
"""Tests of the report's page in headless Chromium: what is drawn, zoomed, hovered and printed, and that nothing is asked for elsewhere."""
import argparse
import base64
import json
import os
import resource
import sys
import tempfile
import time
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

import recordings

SETTINGS = None


def start_browser():
    options = webdriver.ChromeOptions()
    options.binary_location = SETTINGS.browser
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars",
                     "--force-color-profile=srgb", "--window-size=1400,1250"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    return webdriver.Chrome(service=Service(SETTINGS.driver), options=options)


class Page(unittest.TestCase):
    """One browser for all tests of a class."""

    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        cls.browser = start_browser()

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()
        cls.scratch.cleanup()

    def open(self, page, is_dark=False):
        self.browser.get_log("browser"), self.browser.get_log("performance")
        scheme = "dark" if is_dark else "light"
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                     {"media": "", "features": [{"name": "prefers-color-scheme", "value": scheme}]})
        self.set_width(1400, 1250)
        self.browser.get("file://" + page)

    def set_width(self, width, height=900):
        """Narrower than a window can be."""
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def tearDown(self):
        said = [line for line in self.browser.get_log("browser") if "willReadFrequently" not in line["message"]]  # said of this test
        self.assertEqual(said, [], "the console is empty")

    def find(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def texts(self, selector):
        return [element.text for element in self.all(selector)]

    def wait_for(self, condition, what):
        deadline = time.monotonic() + 20
        while not condition():
            self.assertLess(time.monotonic(), deadline, "waited for " + what)
            time.sleep(0.02)

    def point_at(self, x, y):
        """Moves the pointer within the stack, in pixels from its upper left corner."""
        stack = self.find("#stack")
        self.browser.execute_script("arguments[0].scrollIntoView({block: 'center'})", stack)
        size = stack.size
        return ActionChains(self.browser, duration=0).move_to_element_with_offset(
            stack, int(x - size["width"] / 2), int(y - size["height"] / 2))

    def ticks(self):
        return [text for text in self.texts("#lanes .dygraph-axis-label-x") if text]

    def colours(self, selector):
        """Number of distinct colours on a canvas; 1: nothing is drawn."""
        return self.browser.execute_script("""
            const canvas = document.querySelector(arguments[0] + " canvas");
            const data = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data;
            const seen = new Set();
            for (let at = 0; at < data.length; at += 4 * 7) seen.add(data[at] << 16 | data[at + 1] << 8 | data[at + 2]);
            return seen.size;""", selector)

    def keep_screenshot(self, name, height=None):
        """Of the window, or of the page down to a height."""
        width = self.browser.execute_script("return innerWidth")
        whole = {"captureBeyondViewport": True, "clip": {"x": 0, "y": 0, "width": width, "height": height, "scale": 1}}
        shot = self.browser.execute_cdp_cmd("Page.captureScreenshot", whole if height else {})
        with open(os.path.join(SETTINGS.screenshots, name + ".png"), "wb") as file:
            file.write(base64.b64decode(shot["data"]))

    def frequency_labels(self):
        return [text for text in self.texts("#steering .dygraph-axis-label-y") if text]


class PageOfTheDemo(Page):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        record, trace = recordings.record_session(SETTINGS.build, cls.scratch.name)
        cls.page = recordings.make_page(SETTINGS.build, os.path.join(cls.scratch.name, "page.html"),
                                        "--from", record, "--trace", trace, "--title", "The session")

    def setUp(self):
        self.open(self.page)

    def test_draws_all_charts_on_one_axis(self):
        for chart in ("#difference", "#steering", "#lanes"):
            self.assertGreater(self.colours(chart), 5, chart)
        self.assertEqual(self.find("h1").text, "The session")
        self.assertEqual(self.texts("#legend .chip"),
                         ["master", "enp1s0", "enp2s0", "fpga", "CLOCK_REALTIME", "measured", "truth"])
        widths = {self.find(chart).size["width"] for chart in ("#difference", "#steering", "#lanes")}
        self.assertEqual(len(widths), 1)

    def test_asks_nobody_for_anything(self):
        wanted = [json.loads(entry["message"])["message"] for entry in self.browser.get_log("performance")]
        urls = {message["params"]["request"]["url"] for message in wanted if message["method"] == "Network.requestWillBeSent"}
        self.assertEqual({url for url in urls if not url.startswith(("file://" + self.page, "data:"))}, set())

    def test_shows_texts_as_texts_whatever_is_in_them(self):
        self.find("#search").send_keys("taken over")
        self.wait_for(lambda: len(self.all("#timeline tbody tr")) == 2, "the remark and its log line")
        self.assertTrue(all(recordings.EVIL in text for text in self.texts("#timeline tbody td:nth-child(4)")))
        self.assertEqual(self.browser.title, "The session")
        self.assertEqual(self.all("#timeline img, #timeline script"), [])

    def test_shows_every_iteration_measured_and_true(self):
        self.assertEqual(len(self.all(".run")), 3)
        first = self.all(".run")[0]
        self.assertIn("aligned after 3 iterations", first.text)
        rows = first.find_elements(By.CSS_SELECTOR, "tbody tr")
        self.assertEqual(len(rows), 9)
        cells = [cell.text.replace("\u00a0", " ") for cell in rows[0].find_elements(By.CSS_SELECTOR, "td")]
        self.assertEqual(cells[:5], ["1", "enp1s0", "\u22121.25 s", "\u22121.25 s", "+1.25 s"])

    def test_zooms_all_charts_where_one_is_dragged_over(self):
        before = self.ticks()
        self.point_at(400, 150).click_and_hold().move_by_offset(200, 20).release().perform()
        self.wait_for(lambda: self.ticks() != before, "another axis")
        zoomed = self.ticks()
        self.assertNotIn("0", zoomed)
        ActionChains(self.browser).double_click(self.find("#stack")).perform()
        self.wait_for(lambda: self.ticks() == before, "everything again")

    def test_zooms_and_moves_by_keys(self):
        before = self.ticks()
        self.find("#stack").send_keys("+", "+")
        self.wait_for(lambda: self.ticks() != before, "a closer look")
        zoomed = self.ticks()
        self.find("#stack").send_keys(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT)
        self.wait_for(lambda: self.ticks() != zoomed, "a later time")
        self.find("#stack").send_keys("0")
        self.wait_for(lambda: self.ticks() == before, "everything again")

    def test_goes_to_an_alignment_run_down_to_microseconds(self):
        self.all(".run button")[1].click()
        self.wait_for(lambda: all("." in tick for tick in self.ticks()), "fractions of a second")
        self.assertGreater(self.colours("#lanes"), 5)
        self.keep_screenshot("zoomed")

    def test_tells_what_is_under_the_pointer(self):
        self.point_at(700, 120).perform()
        tip = self.find("#tip")
        self.wait_for(tip.is_displayed, "the tip")
        for part in ("measured", "truth", "enp1s0", "fpga", "UTC", "\u00b1"):
            self.assertIn(part, tip.text)
        self.assertTrue(self.find("#cursor").is_displayed())
        self.keep_screenshot("hovered")
        ActionChains(self.browser).move_to_element(self.find("h1")).perform()
        self.wait_for(lambda: not tip.is_displayed(), "no tip")

    def test_draws_differences_on_either_scale(self):
        labels = self.texts("#difference .dygraph-axis-label-y")
        self.assertTrue(any("100" in label and "ns" in label for label in labels), labels)
        self.find("#scaleLinear").click()
        self.wait_for(lambda: self.texts("#difference .dygraph-axis-label-y") != labels, "another scale")
        self.assertEqual(self.find("#scaleLinear").get_attribute("aria-pressed"), "true")

    def test_hides_and_shows_a_clock(self):
        before = self.colours("#difference")
        chips = self.all("#legend .chip")[1:5]
        for chip in chips:
            chip.click()
        self.assertEqual([chip.get_attribute("aria-pressed") for chip in chips], ["false"] * 4)
        self.assertLess(self.colours("#difference"), before)
        chips[0].send_keys(Keys.SPACE)
        self.assertEqual(chips[0].get_attribute("aria-pressed"), "true")

    def test_lists_only_what_is_shown_above(self):
        whole = self.find("#timelineCount").text
        self.all(".run button")[1].click()
        self.wait_for(lambda: self.find("#timelineCount").text != whole, "fewer lines")
        self.find("#onlyShown").click()
        self.wait_for(lambda: self.find("#timelineCount").text == whole, "all lines")

    def test_is_dark_where_the_reader_wants_it_and_can_be_changed(self):
        self.open(self.page, is_dark=True)
        ground = lambda: self.browser.execute_script("return getComputedStyle(document.body).backgroundColor")
        dark = ground()
        self.assertEqual(dark, "rgb(15, 19, 25)")
        self.find("body").send_keys("t")
        self.wait_for(lambda: ground() != dark, "the light page")

    def test_has_text_that_can_be_read_in_either_theme(self):
        for is_dark in (False, True):
            self.open(self.page, is_dark)
            for name in ("ink", "muted", "good", "warning", "error", "accent"):
                self.assertGreaterEqual(self.contrast(name, "surface"), 4.5, f"{name}, dark: {is_dark}")

    def contrast(self, one, other):
        lights = [self.luminance(self.browser.execute_script(
            "return getComputedStyle(document.documentElement).getPropertyValue('--' + arguments[0])", name).strip()) for name in (one, other)]
        return (max(lights) + 0.05) / (min(lights) + 0.05)

    @staticmethod
    def luminance(colour):
        parts = [int(colour[at:at + 2], 16) / 255 for at in (1, 3, 5)]
        linear = [part / 12.92 if part <= 0.03928 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
        return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]

    def test_prints_on_white_paper_and_comes_back(self):
        self.open(self.page, is_dark=True)
        printed = self.browser.execute_cdp_cmd("Page.printToPDF", {"preferCSSPageSize": True, "printBackground": True})
        document = base64.b64decode(printed["data"])
        self.assertTrue(document.startswith(b"%PDF"))
        self.assertGreater(len(document), 50_000)
        self.assertEqual(self.browser.execute_script("return document.documentElement.dataset.theme"), "dark")
        with open(os.path.join(SETTINGS.screenshots, "printed.pdf"), "wb") as file:
            file.write(document)
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print"})
        self.browser.execute_script("dispatchEvent(new Event('beforeprint'))")
        self.assertFalse(self.find("#theme").is_displayed())
        self.assertEqual(self.browser.execute_script("return document.documentElement.dataset.theme"), "light")
        self.assertLessEqual(self.find("#difference").size["width"], 700)

    def test_cuts_no_column_and_leaves_no_card_alone_in_any_window(self):
        for width in (1600, 1000, 420):
            self.set_width(width)
            self.wait_for(lambda: self.browser.execute_script("return document.documentElement.scrollWidth <= innerWidth"),
                          "charts that fit")
            cut = self.browser.execute_script("""
                return [...document.querySelectorAll(".scroll, .panel, .tile, .run, td, th")]
                    .filter((one) => one.scrollWidth > one.clientWidth && one.clientWidth > 0).map((one) => one.outerHTML.slice(0, 80));""")
            self.assertEqual(cut, [], width)
            lone = self.browser.execute_script("""
                return ["#tiles", ".runs"].filter((name) => {
                    const holder = document.querySelector(name), cards = [...holder.children].map((card) => card.getBoundingClientRect());
                    const last = cards.filter((card) => card.top === cards.at(-1).top);
                    return last.length === 1 && last[0].width < holder.clientWidth - 1;
                });""")
            self.assertEqual(lone, [], width)
            for theme in ("light", "dark"):
                self.keep_screenshot(f"demo-{width}-{theme}", 2600)
                self.find("body").send_keys("t")

    def test_scales_the_frequencies_to_what_is_shown(self):
        before = self.frequency_labels()
        self.assertGreaterEqual(len(before), 3)
        self.assertEqual([text for text in self.texts("#steering .dygraph-axis-label-x") if text], self.ticks())
        self.all(".run button")[2].click()
        self.wait_for(lambda: self.frequency_labels() != before, "another scale")
        self.assertGreaterEqual(len(self.frequency_labels()), 3)


class PageOfOtherRecordings(Page):
    def page_of(self, name, *sources):
        return recordings.make_page(SETTINGS.build, os.path.join(self.scratch.name, name + ".html"), *sources)

    def written(self, name, seconds, clocks):
        return recordings.write_record(os.path.join(self.scratch.name, name + ".jsonl"), seconds, clocks)

    def test_says_so_when_there_is_nothing_to_show(self):
        empty = os.path.join(self.scratch.name, "empty.jsonl")
        with open(empty, "w", encoding="utf-8") as file:
            file.write('{"kind": "start", "rawNs": 1000, "systemNs": 5001000}\n')
        self.open(self.page_of("empty", "--from", empty))
        self.assertIn("nothing to show", self.find("#notice").text)
        self.assertEqual([panel for panel in self.all(".panel") if panel.is_displayed()], [])
        self.keep_screenshot("empty")

    def test_tells_sixteen_clocks_apart(self):
        self.open(self.page_of("sixteen", "--from", self.written("sixteen", 300, 16)))
        lines = [line.get_attribute("stroke") for line in self.all("#legend .chip line")]
        self.assertEqual(len(lines), 16)
        self.assertEqual(len(set(lines)), 16)
        self.assertEqual(self.texts("#legend .chip")[8:11], ["enp8s0", "enp9s0", "enp10s0"])
        self.keep_screenshot("sixteen")

    def test_shows_a_trace_alone(self):
        _, trace = recordings.record_session(SETTINGS.build, self.scratch.name)
        self.open(self.page_of("trace", "--trace", trace))
        self.assertIn("fpga", self.texts("#legend .chip"))
        self.assertEqual(len(self.all(".run")), 3)

    def test_shows_a_record_alone_whose_runs_have_no_iterations(self):
        record, _ = recordings.record_session(SETTINGS.build, self.scratch.name)
        self.open(self.page_of("record", "--from", record))
        self.assertIn("Iterations are seen in a board's trace only", self.find("#alignments").text)
        self.assertEqual(len(self.all(".run")), 3)
        self.assertEqual(self.all(".runChart"), [])


class PageOfADay(Page):
    """Of 24 hours on the simulated controller. Times are of the processor, so that a busy machine does not matter."""

    def test_holds_every_sample_in_few_bytes_and_is_soon_drawn_and_zoomed(self):
        record, page = os.path.join(self.scratch.name, "day.jsonl"), os.path.join(self.scratch.name, "day.html")
        recordings.record_day(SETTINGS.build, record)
        self.assertLess(sum(resource.getrusage(resource.RUSAGE_CHILDREN)[:2]), 60)
        with open(record, encoding="utf-8") as file:
            self.assertEqual(sum(line.startswith('{"kind":"sample"') for line in file), 86_401)
        self.assertLess(os.path.getsize(record), 25_000_000)
        began = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
        recordings.make_page(SETTINGS.build, page, "--from", record)
        self.assertLess(resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - began, 3)
        self.assertLess(os.path.getsize(page), 1_000_000)
        self.browser.execute_cdp_cmd("Performance.enable", {"timeDomain": "threadTicks"})
        self.open(page)
        self.assertLess(self.busy_seconds(), 1, "to the first paint and beyond")
        self.assertGreaterEqual(len(self.frequency_labels()), 3)
        self.assertIn("thinned", self.find("#sources").text)
        self.assertIn("+250", self.find("#clocks").text, "the one sample of a clock that was away")
        labels = self.texts("#difference .dygraph-axis-label-y")
        self.assertTrue(any("+100" in label and "\u00b5s" in label for label in labels), labels)
        self.keep_screenshot("day", 1250)
        before = self.busy_seconds()
        self.browser.execute_script("""
            for (let at = 0; at < 10; ++at) document.getElementById("zoomIn").click();
            for (let at = 0; at < 10; ++at) document.getElementById("zoomOut").click();""")
        self.assertLess((self.busy_seconds() - before) / 20, 0.15, "a zoom")

    def busy_seconds(self):
        self.browser.execute_async_script("requestAnimationFrame(() => setTimeout(arguments[0]))")
        metrics = self.browser.execute_cdp_cmd("Performance.getMetrics", {})["metrics"]
        return next(metric["value"] for metric in metrics if metric["name"] == "TaskDuration")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ("--browser", "--driver", "--build", "--screenshots"):
        parser.add_argument(option, required=True)
    parser.add_argument("tests", nargs="+")
    SETTINGS = parser.parse_args()
    unittest.main(argv=[sys.argv[0], "-v", *SETTINGS.tests])

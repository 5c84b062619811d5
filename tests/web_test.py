#!/usr/bin/env python3
"""Tests the page of --serve, over HTTP and in a headless Chromium.

usage: web_test.py HALDEN_HOST
"""
import json
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.request

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

HOST = sys.argv.pop(1)
PATIENCE = 60  # seconds; long enough for a busy machine


class Web(unittest.TestCase):
    def serve(self, command, device, options=""):
        """Starts the host and returns it with the address of its page."""
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]
        folder = self.enterContext(tempfile.TemporaryDirectory())
        process = self.enterContext(subprocess.Popen(
            [HOST, command, "--device", device, "--serve", str(self.port), "--registry", f"{folder}/reg", *options.split()],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True))
        self.addCleanup(process.kill)
        for line in process.stderr:
            if line.startswith("Serving "):
                return process, line.split()[1]
        self.fail("the host serves no page")

    def browser(self, language="en-US"):
        options = Options()
        for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--window-size=1000,800"):
            options.add_argument(argument)
        options.add_experimental_option("prefs", {"intl.accept_languages": language})
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.addCleanup(driver.quit)
        return driver

    def wait(self, what, holds):
        end = time.monotonic() + PATIENCE
        while not holds():
            self.assertLess(time.monotonic(), end, f"waited in vain: {what}")
            time.sleep(0.1)

    def code(self, path, **options):
        request = urllib.request.Request(f"http://127.0.0.1:{self.port}{path}", **options)
        try:
            with urllib.request.urlopen(request, timeout=10) as response:
                return response.status
        except urllib.error.HTTPError as error:
            return error.code

    def test_only_the_page_its_events_and_the_last_values_are_served(self):
        _, url = self.serve("watch", "sim:columns=2,rate=100")
        with urllib.request.urlopen(url) as response:
            self.assertIn("default-src 'none'", response.headers["Content-Security-Policy"])
            self.assertIsNone(response.headers["Access-Control-Allow-Origin"])
        latest = {}

        def has_come():
            with urllib.request.urlopen(url + "latest") as response:
                latest.update(json.load(response))
            return "values" in latest

        self.wait("the first frame", has_come)
        self.assertEqual([value * 20 for value in latest["values"]], latest["codes"])
        for expected, path, options in [(404, "/x", {}), (404, "/latest", {"data": b"x"}),
                                        (404, "/latest", {"headers": {"Host": "other.example"}}),
                                        (200, "/latest", {"headers": {"Host": f"localhost:{self.port}"}})]:
            self.assertEqual(self.code(path, **options), expected, (path, options))

    def test_a_token_is_needed_where_one_was_given(self):
        _, url = self.serve("watch", "sim:columns=2,rate=100", "--serve-token abcd1234")
        self.assertTrue(url.endswith("/?token=abcd1234"), url)
        self.assertEqual([self.code(path) for path in ("/", "/latest?token=abcd1235", "/latest?token=abcd1234")], [404, 404, 200])

    def test_the_page_shows_moving_curves_until_it_is_paused(self):
        process, url = self.serve("record", "sim:columns=2,rate=200,unplug_after=30", "--reconnect")
        driver = self.browser()
        driver.get(url)

        def picture():
            return driver.execute_script("return document.querySelector('canvas').toDataURL()")

        def state():
            return driver.find_element(By.ID, "state").text

        self.wait("curves", lambda: driver.find_elements(By.TAG_NAME, "canvas"))
        self.wait("the rate", lambda: "Rate" in state())
        first = picture()
        self.wait("the curves move", lambda: picture() != first)
        pause = driver.find_element(By.ID, "pause")
        pause.send_keys(" ")  # by the keyboard
        self.assertEqual(pause.text, "Continue")
        time.sleep(0.3)
        first, value = picture(), driver.find_element(By.CLASS_NAME, "value").text
        time.sleep(1)
        self.assertEqual((picture(), driver.find_element(By.CLASS_NAME, "value").text), (first, value), "paused")
        pause.click()
        self.wait("the curves move again", lambda: picture() != first)
        driver.find_element(By.ID, "window").send_keys("30")
        self.wait("a window of 30 s", lambda: abs(driver.execute_script(
            "const x = charts[0].chart.scales.x; return x.max - x.min") - 30) < 0.5)
        driver.find_element(By.ID, "panels").send_keys("one per scale")
        self.wait("one panel", lambda: len(driver.find_elements(By.TAG_NAME, "canvas")) == 1)
        self.assertRegex(driver.find_element(By.ID, "line").text, r"^-?\d+\.\d+\s-?\d+\.\d+$")
        self.wait("the device is gone", lambda: state().startswith("no line for "))
        process.kill()
        self.wait("the program is gone", lambda: state() == "no connection to the program")
        failed = [entry for entry in driver.get_log("browser") if "ERR_" not in entry["message"]]
        self.assertEqual(failed, [], "scripts and their policy")

    def test_the_page_speaks_russian_and_tells_the_end_of_a_recording(self):
        process, url = self.serve("record", "sim:columns=2,rate=200")
        driver = self.browser("ru")
        driver.get(url)
        self.wait("a line", lambda: driver.find_element(By.ID, "line").text)
        self.assertEqual(driver.find_element(By.ID, "pause").text, "Пауза")
        started = time.monotonic()
        process.terminate()
        self.assertEqual(process.wait(), 0)
        self.assertLess(time.monotonic() - started, 2, "seconds until the end with a page open")
        self.wait("the end", lambda: driver.find_element(By.ID, "state").text == "запись окончена")


unittest.main(verbosity=0)

"""Live pages: `--http` of a scan and of a calibration, over HTTP and in a browser.

Run as: python3 test_live_contract.py PATH_TO_ULIX [unittest arguments]
The tests in a browser need the Debian package chromium, and are skipped without it.
"""

import http.client
import json
import os
import re
import shutil
import signal
import subprocess
import tempfile
import time
import unittest
import urllib.parse

import contract
from contract import ContractTest, main
from serial_instrument import TEST_LIMIT
from test_calibrate_contract import PLAN


class Browser:
    """Chromium without a screen, controlled through a pipe."""

    def __init__(self):
        # The processes of the browser may write to the folder until they have ended too.
        self.folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        asks, self.sends = os.pipe()
        self.receives, answers = os.pipe()
        # The browser's pipe is its descriptors 3 and 4.
        self.program = subprocess.Popen(
            ["bash", "-c", f'exec chromium "$@" 3<&{asks} 4>&{answers}', "chromium", "--headless", "--no-sandbox", "--disable-gpu",
             "--remote-debugging-pipe", f"--user-data-dir={self.folder.name}", "--window-size=1000,900"],
            pass_fds=(asks, answers), start_new_session=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(asks), os.close(answers)
        self.number, self.rest, self.session = 0, b"", None
        target = self.ask("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.ask("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]

    def ask(self, method, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.sends, json.dumps(message).encode() + b"\0")
        while True:
            while b"\0" not in self.rest:
                received = os.read(self.receives, 65536)
                if not received:
                    raise AssertionError("the browser ended")
                self.rest += received
            text, self.rest = self.rest.split(b"\0", 1)
            answer = json.loads(text)
            if answer.get("id") == self.number:
                return answer["result"]

    def value(self, script):
        return self.ask("Runtime.evaluate", expression=script, returnByValue=True)["result"].get("value")

    def close(self):
        os.killpg(self.program.pid, signal.SIGKILL)
        self.program.wait()
        os.close(self.sends), os.close(self.receives)
        self.folder.cleanup()


class LiveTest(ContractTest):
    def serve(self, *arguments):
        """Starts the program with a live page and returns the address of the page."""
        program = subprocess.Popen([contract.ULIX, *map(str, arguments)], env=self.env, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        self.addCleanup(program.stderr.close)
        self.addCleanup(program.wait)
        self.addCleanup(program.kill)
        said = ""
        for line in program.stderr:
            said += line
            if "without its HTTP library" in line:
                self.skipTest("built without live pages")
            address = re.search(r"(?:live page|page en direct)\s?: http://(localhost:\d+)/$", line)
            if address:
                return program, address.group(1)
        self.fail(said)

    def scan(self, port="0"):
        return self.serve("scan", "kelvo10", "--port", "sim", "--period", "100", "--http", port)

    def request(self, address, method="GET", path="/", **headers):
        connection = http.client.HTTPConnection(address, timeout=TEST_LIMIT)
        self.addCleanup(connection.close)
        connection.request(method, path, headers=headers)
        return connection.getresponse()

    def events(self, address):
        """The events of a stream, as they arrive."""
        name = None
        for line in self.request(address, path="/events"):
            text = line.decode().rstrip("\n")
            if text.startswith("event: "):
                name = text[7:]
            if text.startswith("data: "):
                yield name, json.loads(text[6:])

    def wait_for(self, browser, script):
        end = time.monotonic() + TEST_LIMIT
        while time.monotonic() < end:
            value = browser.value(script)
            if value:
                return value
            time.sleep(0.05)
        self.fail(f"{script} in {browser.value('document.body.innerText')}")


class Served(LiveTest):
    def test_the_page_is_for_reading_and_for_this_machine(self):
        _, address = self.scan()
        answer = self.request(address)
        page = answer.read().decode()
        self.assertEqual(answer.status, 200)
        self.assertIn("<title>Kelvo10, scan</title>", page)
        self.assertNotRegex(page, r"https?://")
        self.assertIn("default-src 'none'", answer.headers["Content-Security-Policy"])
        self.assertEqual(self.request(address, method="POST").status, 405)
        self.assertEqual(self.request(address, path="/etc/passwd").status, 404)
        self.assertEqual(self.request(address, Host="elsewhere.example").status, 403)

    def test_the_stream_tells_the_past_then_each_report_and_the_end(self):
        program, address = self.scan()
        events = self.events(address)
        self.assertEqual(next(events)[0], "history")
        frames = [next(events) for _ in range(3)]
        self.assertEqual({name for name, _ in frames}, {"frame"})
        seconds = [frame["seconds"] for _, frame in frames]
        self.assertEqual(seconds, sorted(set(seconds)))
        series = frames[-1][1]["series"][0]
        self.assertIsInstance(series["value"], float)
        self.assertEqual(series["quality"], "good")
        again = next(self.events(address))[1]
        self.assertGreaterEqual(len(again["all"]), 3)  # a page shows earlier scans too
        program.send_signal(signal.SIGINT)
        self.assertEqual([name for name, _ in events if name != "frame"], ["end"])
        self.assertEqual(program.wait(TEST_LIMIT), 0)

    def test_a_wrong_address_and_a_port_in_use(self):
        for wrong in ("x", "70000", "-1", ":80", "a b:80", "::1:80"):
            status, _, err = self.ulix("scan", "kelvo10", "--port", "sim", "--period", "100", f"--http={wrong}")
            self.assertEqual(status, 2, wrong)
            self.assertIn("PORT or ADDRESS:PORT", err)
        _, address = self.scan()
        port = urllib.parse.urlsplit("//" + address).port
        status, _, err = self.ulix("scan", "kelvo10", "--port", "sim", "--period", "100", "--http", port)
        self.assertEqual(status, 1)
        self.assertIn(f"port {port} cannot be opened", err)


@unittest.skipIf(shutil.which("chromium") is None, "no chromium")
class InBrowser(LiveTest):
    def browse(self, address):
        browser = Browser()
        self.addCleanup(browser.close)
        browser.ask("Page.navigate", url=f"http://{address}/")
        return browser

    def test_it_updates_and_comes_back_when_the_program_does(self):
        program, address = self.scan()
        browser = self.browse(address)
        self.wait_for(browser, "recent.length > 3")
        self.assertEqual(browser.value("el('link').textContent"), "live")
        self.wait_for(browser, "el('series').rows.length > 0")  # drawn with the next picture
        program.send_signal(signal.SIGINT)
        self.wait_for(browser, "document.body.className === 'ended'")
        self.scan(address.split(":")[1])
        self.wait_for(browser, "document.body.className === '' && recent.length > 3")

    def test_a_run_in_french_keeps_its_memory(self):
        path = self.folder / "plan.json"
        path.write_text(json.dumps(PLAN))
        # The run takes two minutes, so that the page comes up before its end on a busy machine too.
        _, address = self.serve("calibrate", path, "--run", self.folder / "run", "--speed", "10", "--http", "0", "--lang", "fr")
        browser = self.browse(address)
        self.wait_for(browser, "recent.length > 10")
        for part in ("Voie", "Dérive / max", "en direct", "référence", "Depuis le début"):
            self.wait_for(browser, f"document.body.innerText.includes('{part}')")
        browser.value("for (let k = 0; k < 100000; ++k) keep([1e6 + k, 1, 2]); 1")  # more than a day
        self.assertLessEqual(browser.value("recent.length"), 600)
        self.assertLessEqual(browser.value("all.length"), 2400)


if __name__ == "__main__":
    main()

"""A page in headless Chromium, driven through its debugging pipe. It needs Python's standard library only.

    with Browser("chromium") as browser:
        browser.open("file:///tmp/report.html")
        print(browser.ask("document.title"))
"""
import base64
import json
import os
import signal
import subprocess
import tempfile
import time

KEYS = {"Enter": 13, "Escape": 27, "Home": 36, "End": 35, "ArrowLeft": 37, "ArrowUp": 38, "ArrowRight": 39, "ArrowDown": 40}


class Browser:
    def __init__(self, chromium):
        self.folder = tempfile.TemporaryDirectory()
        to_browser, self.commands = os.pipe()
        self.answers, from_browser = os.pipe()
        arguments = [
            chromium, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
            "--disable-background-networking", "--remote-debugging-pipe", "--user-data-dir=" + self.folder.name, "about:blank",
        ]
        def use_pipe_ends():
            ends = [os.dup(to_browser), os.dup(from_browser)]  # not 3 or 4, which the next lines replace
            os.dup2(ends[0], 3)
            os.dup2(ends[1], 4)

        self.process = subprocess.Popen(
            arguments, preexec_fn=use_pipe_ends, close_fds=False, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            env={**os.environ, "TMPDIR": self.folder.name}, start_new_session=True
        )
        os.close(to_browser)
        os.close(from_browser)
        self.rest = b""
        self.last = 0
        self.session = None
        self.events = []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Network", "Log"):
            self.call(domain + ".enable")

    def __enter__(self):
        return self

    def __exit__(self, *error):
        os.killpg(self.process.pid, signal.SIGKILL)  # the browser and its helper processes
        self.process.wait()
        os.close(self.commands)
        os.close(self.answers)
        deadline = time.monotonic() + 30
        while os.path.exists(self.folder.name):
            try:
                self.folder.cleanup()
            except OSError:  # a helper process may write there until the kernel has ended it
                if time.monotonic() > deadline:
                    raise
                time.sleep(0.05)

    def _next(self):
        while b"\0" not in self.rest:
            part = os.read(self.answers, 1 << 20)
            if not part:
                raise RuntimeError("the browser has ended")
            self.rest += part
        message, self.rest = self.rest.split(b"\0", 1)
        return json.loads(message)

    def call(self, method, **parameters):
        self.last += 1
        command = {"id": self.last, "method": method, "params": parameters}
        if self.session:
            command["sessionId"] = self.session
        os.write(self.commands, json.dumps(command).encode() + b"\0")
        while True:
            message = self._next()
            if message.get("id") == self.last:
                if "error" in message:
                    raise RuntimeError(f'{method}: {message["error"]["message"]}')
                return message["result"]
            self.events.append(message)

    def open(self, url):
        self.events = []
        self.call("Page.navigate", url=url)
        while not any(event.get("method") == "Page.loadEventFired" for event in self.events):
            self.events.append(self._next())

    def ask(self, expression):
        """Returns the value of an expression in the page."""
        answer = self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(expression + ": " + json.dumps(answer["exceptionDetails"])[:500])
        return answer["result"].get("value")

    def resize(self, width, height, dark=False):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        scheme = "dark" if dark else "light"
        self.call("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])

    def press(self, key, shift=False):
        code = KEYS.get(key, ord(key[0]))
        parameters = {"key": key, "windowsVirtualKeyCode": code, "modifiers": 8 if shift else 0}
        if len(key) == 1:
            parameters["text"] = key
        self.call("Input.dispatchKeyEvent", type="keyDown", **parameters)
        self.call("Input.dispatchKeyEvent", type="keyUp", **{**parameters, "text": ""})

    def point(self, x, y):
        self.call("Input.dispatchMouseEvent", type="mouseMoved", x=x, y=y)

    def click(self, x, y):
        self.point(x, y)
        for kind in ("mousePressed", "mouseReleased"):
            self.call("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left", clickCount=1)

    def requests(self):
        """Returns the addresses that the page has asked for since it was opened."""
        return [event["params"]["request"]["url"] for event in self.events if event.get("method") == "Network.requestWillBeSent"]

    def errors(self):
        """Returns the exceptions of the page since it was opened."""
        return [event for event in self.events if event.get("method") == "Runtime.exceptionThrown"]

    def picture(self, path, whole=False):
        """Writes a picture of the page."""
        parameters = {"captureBeyondViewport": True} if whole else {}
        if whole:
            size = self.call("Page.getLayoutMetrics")["cssContentSize"]
            parameters["clip"] = {"x": 0, "y": 0, "width": size["width"], "height": size["height"], "scale": 1}
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.call("Page.captureScreenshot", **parameters)["data"]))

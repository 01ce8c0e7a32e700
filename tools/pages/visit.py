"""One look at one page: what it asked for, what it shows, what went wrong in it, how long it took.

The page is scrolled to its end, what it marks with `data-click` is clicked, and then it is read.
"""

import time
from collections import Counter
from dataclasses import dataclass, field

from chromium import BrowserError
from local_web import MARK

# Longer than this nothing is waited for.
LOAD_SECONDS = 30
REST_SECONDS = 6
# A page is at rest when it has asked for nothing for so long.
QUIET_SECONDS = 0.4

# Log entries of these sources are errors of the page's scripts, or scripts that the browser refused.
SCRIPT_SOURCES = {"javascript", "security"}

# The browser's types of requests, in the words of filter lists.
TYPES = {
    "Document": "document", "Stylesheet": "stylesheet", "Image": "image", "Media": "media", "Font": "font",
    "Script": "script", "XHR": "xmlhttprequest", "Fetch": "xmlhttprequest", "EventSource": "xmlhttprequest",
    "Preflight": "xmlhttprequest",    "WebSocket": "websocket", "Ping": "ping",
}  # fmt: skip

# What a frame shows: its text, and the pictures that are there.
READ = """
(() => {
  const marked = ".%s";
  // What the browser itself says in a frame that it refused is no text of the page.
  const isForeign = !document.body || location.protocol === "chrome-error:" || document.body.matches(marked);
  if (isForeign) return {text: "", images: []};
  for (const mark of document.querySelectorAll(marked)) mark.style.display = "none";
  const isShown = image => image.complete && image.naturalWidth > 0 && image.checkVisibility();
  const images = [...document.images].filter(isShown).map(image => image.currentSrc);
  return {text: document.body.innerText, images: images.filter(source => !source.startsWith("data:"))};
})()
""" % MARK
SCROLL = """
(async () => {
  const height = document.documentElement.scrollHeight, step = Math.max(innerHeight, height / 12);
  for (let y = 0; y < height; y += step) {
    scrollTo(0, y);
    await new Promise(done => setTimeout(done, 16));
  }
  scrollTo(0, 0);
})()
"""
CLICKABLE = 'document.querySelectorAll("[data-click]").length'
PLACE = """
(() => {
  const element = document.querySelectorAll("[data-click]")[%d];
  element?.scrollIntoView({block: "center"});
  const box = element?.getBoundingClientRect();
  return box && {x: box.x + box.width / 2, y: box.y + box.height / 2};
})()
"""
LOAD_TIME = "performance.getEntriesByType('navigation')[0]?.loadEventEnd ?? 0"


@dataclass
class Request:
    url: str
    type: str
    page: str
    is_blocked: bool = False
    is_refused: bool = False  # by the browser itself, before it was sent
    status: int = 0
    bytes: int = 0

    def question(self):
        return self.type, self.page, self.url


@dataclass
class Visit:
    requests: list = field(default_factory=list)
    words: Counter = field(default_factory=Counter)
    images: Counter = field(default_factory=Counter)
    errors: Counter = field(default_factory=Counter)
    load_ms: float = 0
    trouble: str = ""

    def know_blocked(self, urls):
        """What the browser may not be told: it hides an answer from the page that may not read it. And
        that a blocked request fails is no error of a script: browsers that block by themselves do not
        tell of it either."""
        for request in self.requests:
            request.is_blocked |= request.url in urls
        blocked = [request.url for request in self.blocked]
        for text in list(self.errors):
            if any(url in text for url in blocked):
                del self.errors[text]

    @property
    def bytes(self):
        return sum(request.bytes for request in self.requests)

    @property
    def made(self):
        return [r for r in self.requests if not r.is_blocked and not r.is_refused]

    @property
    def blocked(self):
        return [request for request in self.requests if request.is_blocked]


class Visitor:
    """Follows a page, its frames, workers and pop-ups, each a session of the browser's protocol."""

    def __init__(self, browser):
        self.browser = browser
        self.visit = Visit()
        self._frames = {}  # (session, execution context) of what can be read, with its frame
        self._addresses = {}  # of frames
        self._top = {}  # the first frame of each session
        self._requests = {}
        self._waiting = set()
        self._last = time.monotonic()
        self._loaded = False
        self._page = None

    def look(self, url, proxy=None):
        self.browser.listener = self._hear
        options = {"proxyServer": proxy, "proxyBypassList": "<-loopback>"} if proxy else {}
        context = self.browser.call("Target.createBrowserContext", **options)["browserContextId"]
        try:
            self._context = context
            self.browser.call("Target.setAutoAttach", **ATTACH)
            self.browser.call("Target.createTarget", url="about:blank", browserContextId=context)
            self._listen_until(lambda: self._page, 10)
            self._go(url)
        except BrowserError as error:
            self.visit.trouble = str(error)
            if self.browser.process.poll() is not None:
                raise
        finally:
            self.browser.listener = None
            self.browser.post("Target.disposeBrowserContext", browserContextId=context)
        return self.visit

    def _go(self, url):
        # What a page in another process is to tell is known once the first one has answered.
        for domain in DOMAINS:
            self.browser.call(f"{domain}.enable", self._page)
        result = self.browser.call("Page.navigate", self._page, LOAD_SECONDS, url=url)
        if "errorText" in result:
            raise BrowserError(result["errorText"])
        if not self._listen_until(lambda: self._loaded, LOAD_SECONDS):
            self.visit.trouble = "was not loaded in time"
        self._rest()
        self.visit.load_ms = self._evaluate(self._page, LOAD_TIME) or 0
        self._evaluate(self._page, SCROLL)
        self._rest()
        for number in range(self._evaluate(self._page, CLICKABLE) or 0):
            self._click(number)
            self._rest()
        self._read()

    def _click(self, number):
        place = self._evaluate(self._page, PLACE % number)
        if place is None:
            return
        for kind in ("mousePressed", "mouseReleased"):
            self.browser.call(
                "Input.dispatchMouseEvent", self._page, type=kind, button="left", clickCount=1, **place
            )

    def _read(self):
        for session, context in list(self._frames):
            shown = self._evaluate(session, READ, contextId=context)
            if shown:
                self.visit.words.update(shown["text"].split())
                self.visit.images.update(shown["images"])

    def _evaluate(self, session, expression, **where):
        try:
            result = self.browser.call(
                "Runtime.evaluate",
                session,
                expression=expression,
                returnByValue=True,
                awaitPromise=True,
                userGesture=False,
                **where,
            )
            return result["result"].get("value")
        except BrowserError:
            return None

    def _listen_until(self, condition, seconds):
        deadline = time.monotonic() + seconds
        while not condition():
            left = deadline - time.monotonic()
            if left <= 0:
                return False
            self.browser.listen(min(left, 0.1))
        return True

    def _rest(self):
        self._last = time.monotonic()

        def is_quiet():
            return not self._waiting and time.monotonic() - self._last > QUIET_SECONDS

        self._listen_until(is_quiet, REST_SECONDS)

    def _hear(self, session, method, what):
        heard = HEARD.get(method)
        if heard:
            heard(self, session, what)

    def _attached(self, _, what):
        target, session = what["targetInfo"], what["sessionId"]
        is_ours = target.get("browserContextId") == self._context
        if is_ours:
            for domain in DOMAINS:
                self.browser.post(f"{domain}.enable", session)
            self.browser.post("Target.setAutoAttach", session, **ATTACH)
            self._top[session] = target["targetId"]
            if target["type"] == "page" and self._page is None:
                self._page = session
        self.browser.post("Runtime.runIfWaitingForDebugger", session)
        if not is_ours:
            self.browser.post("Target.detachFromTarget", sessionId=session)

    def _detached(self, _, what):
        self._frames = {k: v for k, v in self._frames.items() if k[0] != what["sessionId"]}

    def _context_made(self, session, what):
        context = what["context"]
        if context.get("auxData", {}).get("isDefault") and "frameId" in context["auxData"]:
            self._frames[session, context["id"]] = context["auxData"]["frameId"]

    def _context_gone(self, session, what):
        self._frames.pop((session, what["executionContextId"]), None)

    def _contexts_gone(self, session, _):
        self._frames = {k: v for k, v in self._frames.items() if k[0] != session}

    def _navigated(self, _, what):
        self._addresses[what["frame"]["id"]] = what["frame"]["url"]

    def _load(self, session, _):
        self._loaded = self._loaded or session == self._page

    def _asked(self, session, what):
        url = what["request"]["url"]
        if not url.startswith(("http:", "https:", "ws:", "wss:")):
            return
        kind = TYPES.get(what.get("type"), "other")
        page = what.get("documentURL", "")
        if kind == "document" and what.get("frameId") != self._top.get(self._page):
            kind = "subdocument"
            page = what.get("initiator", {}).get("url") or self._parent_address(page)
        elif kind == "document":
            page = url
        if "redirectResponse" in what:
            self._redirected(self._requests.get(what["requestId"]), what["redirectResponse"])
        self._note(what["requestId"], Request(url, kind, page))

    @staticmethod
    def _redirected(request, response):
        """By the site; or by the browser itself, which knows that the site wants TLS."""
        if request:
            request.status = response["status"]
            request.is_refused = "Non-Authoritative-Reason" in response["headers"]

    def _parent_address(self, page):
        return self._addresses.get(self._top.get(self._page), page)

    def _note(self, number, request):
        self._requests[number] = request
        self.visit.requests.append(request)
        self._waiting.add(number)
        self._last = time.monotonic()

    def _socket(self, _, what):
        page = self._addresses.get(self._top.get(self._page), "")
        self._note(what["requestId"], Request(what["url"], "websocket", page))
        self._waiting.discard(what["requestId"])

    def _answered(self, _, what):
        request = self._requests.get(what["requestId"])
        if request:
            headers = {name.lower(): value for name, value in what["response"]["headers"].items()}
            request.status = what["response"]["status"]
            request.is_blocked = headers.get("x-velmora", "").startswith("blocked")

    def _answered_more(self, _, what):
        """The headers as they came, which also answers that a page may not read have."""
        request = self._requests.get(what["requestId"])
        if request:
            headers = {name.lower(): value for name, value in what["headers"].items()}
            request.status = request.status or what.get("statusCode", 0)
            request.is_blocked |= headers.get("x-velmora", "").startswith("blocked")

    def _finished(self, _, what):
        request = self._requests.get(what["requestId"])
        if request:
            request.bytes += int(what["encodedDataLength"])
        self._done(what)

    def _failed(self, _, what):
        request = self._requests.get(what["requestId"])
        if request and request.status == 0 and what.get("blockedReason"):
            request.is_refused = True
        self._done(what)

    def _done(self, what):
        self._waiting.discard(what["requestId"])
        self._last = time.monotonic()

    def _thrown(self, _, what):
        details = what["exceptionDetails"]
        thrown = details.get("exception", {})
        text = thrown.get("description") or str(thrown.get("value", "")) or details["text"]
        self._note_error(details.get("url", ""), text.splitlines()[0])

    def _logged(self, _, what):
        entry = what["entry"]
        if entry["level"] == "error" and entry["source"] in SCRIPT_SOURCES:
            self._note_error(entry.get("url", ""), entry["text"])

    def _note_error(self, url, text):
        self.visit.errors[f"{text[:300]} ({url.partition('?')[0]})"] += 1

    def _frame_loads(self, _, what):
        """Also what asks for nothing, such as a `srcdoc`."""
        self._waiting.add(what["frameId"])
        self._last = time.monotonic()

    def _frame_rests(self, _, what):
        self._waiting.discard(what["frameId"])
        self._last = time.monotonic()

    def _dialog(self, session, _):
        self.browser.post("Page.handleJavaScriptDialog", session, accept=True)


DOMAINS = ("Runtime", "Network", "Log", "Page")
ATTACH = {"autoAttach": True, "waitForDebuggerOnStart": True, "flatten": True}
HEARD = {
    "Target.attachedToTarget": Visitor._attached,
    "Target.detachedFromTarget": Visitor._detached,
    "Runtime.executionContextCreated": Visitor._context_made,
    "Runtime.executionContextDestroyed": Visitor._context_gone,
    "Runtime.executionContextsCleared": Visitor._contexts_gone,
    "Runtime.exceptionThrown": Visitor._thrown,
    "Log.entryAdded": Visitor._logged,
    "Page.frameNavigated": Visitor._navigated,
    "Page.loadEventFired": Visitor._load,
    "Page.frameStartedLoading": Visitor._frame_loads,
    "Page.frameStoppedLoading": Visitor._frame_rests,
    "Page.frameDetached": Visitor._frame_rests,
    "Page.javascriptDialogOpening": Visitor._dialog,
    "Network.requestWillBeSent": Visitor._asked,
    "Network.webSocketCreated": Visitor._socket,
    "Network.responseReceived": Visitor._answered,
    "Network.responseReceivedExtraInfo": Visitor._answered_more,
    "Network.loadingFinished": Visitor._finished,
    "Network.loadingFailed": Visitor._failed,
}

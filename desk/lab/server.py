# SPDX-License-Identifier: MIT
"""The lab's server: the page, the operations and the stream of events, for who has the token.

It listens on the loopback interface alone. The token is the first part of every path, so that a page
of somebody else, who cannot read it, can ask for nothing, whatever its browser sends along.
"""

import asyncio
import contextlib
import hmac
import json
import logging
import pathlib
import secrets
from typing import Any

from aiohttp import web
from aiohttp.http_exceptions import HttpProcessingError

from lab.board import Onlooker
from lab.mesh import Mesh
from lab.operation import Operation, WrongCall
from lab.operations import OPERATIONS
from lab.strangers import Door
from lab.table import TABLE, described
from rig.failure import Failure
from rig.network import LOOPBACK

_PAGE = pathlib.Path(__file__).resolve().parent / "page"
_KINDS = {
    ".html": "text/html", ".css": "text/css", ".js": "text/javascript", ".svg": "image/svg+xml",
}  # fmt: skip
_MOST_BYTES = 64 * 1024  # of a request
_MOST_ONLOOKERS = 32
_ENDS_WITHIN = 5.0  # seconds that requests are given when the lab closes
_GATHER = 0.04  # seconds in which changes are gathered to one step
_ALIVE = 15.0  # seconds after which a silent stream says something
_HEADERS = {
    "Content-Security-Policy": "default-src 'none'; script-src 'self'; style-src 'self'; "
    "img-src 'self' data:; connect-src 'self'; base-uri 'none'; form-action 'none'; "
    "frame-ancestors 'none'",
    "X-Content-Type-Options": "nosniff",
    "Referrer-Policy": "no-referrer",
    "Cross-Origin-Resource-Policy": "same-origin",
    "Cross-Origin-Opener-Policy": "same-origin",
    "Cache-Control": "no-store",
}


class _OnlyOwnMistakes(logging.Filter):
    """What a stranger sends is no news to who looks at the terminal."""

    def filter(self, record: logging.LogRecord) -> bool:
        kind = record.exc_info[0] if record.exc_info else None
        return kind is None or not issubclass(kind, HttpProcessingError)


def _logger() -> logging.Logger:
    logger = logging.getLogger("lab.server")
    logger.addFilter(_OnlyOwnMistakes())
    return logger


def _refused(status: int, reason: str) -> web.Response:
    return web.json_response({"reason": reason}, status=status, headers=_HEADERS)


class Server:
    """Of one mesh."""

    def __init__(self, mesh: Mesh, token: str = "") -> None:
        self._mesh = mesh
        self.token = token or secrets.token_urlsafe(24)
        self.port = 0
        self._runner: web.AppRunner | None = None
        self._door: asyncio.Server | None = None
        self._closing = asyncio.Event()

    @property
    def url(self) -> str:
        return f"http://{LOOPBACK}:{self.port}/{self.token}/"

    async def listen(self, port: int, or_another: bool) -> None:
        app = web.Application(middlewares=[self._guard], client_max_size=_MOST_BYTES)
        app.router.add_get("/{token}/api/events", self._events)
        app.router.add_get("/{token}/api/operations", self._operations)
        for operation in TABLE:
            add = app.router.add_get if operation.asks else app.router.add_post
            add(f"/{{token}}/api/{operation.name}", self._handler(operation))
        app.router.add_get("/{token}/{file:[a-z_-]*(?:[.][a-z]+)?}", self._file)
        self._runner = web.AppRunner(app, access_log=None, logger=_logger())
        await self._runner.setup()
        assert self._runner.server
        door = Door(self._runner.server)
        loop = asyncio.get_running_loop()
        try:
            self._door = await loop.create_server(door, LOOPBACK, port)
        except OSError as error:
            if not or_another:
                raise Failure(
                    f"cannot listen on {LOOPBACK}:{port}: {error.strerror}; take another --port"
                ) from error
            self._door = await loop.create_server(door, LOOPBACK, 0)
        self.port = self._door.sockets[0].getsockname()[1]

    async def close(self) -> None:
        self._closing.set()
        self._mesh.board.wake()
        if self._door:
            self._door.close()
        if self._runner and self._runner.server:
            await self._runner.server.shutdown(_ENDS_WITHIN)
            await self._runner.cleanup()

    # Who may ask.

    @web.middleware
    async def _guard(self, request: web.Request, handler: Any) -> web.StreamResponse:
        if objection := self._objection(request):
            return _refused(403, objection)
        try:
            response: web.StreamResponse = await handler(request)
        except web.HTTPException as error:
            return _refused(error.status, error.reason)
        if not response.prepared:
            response.headers.update(_HEADERS)
        return response

    def _objection(self, request: web.Request) -> str:
        own = f"{LOOPBACK}:{self.port}"
        if request.headers.get("Host") != own:
            return f"the Host is not {own}"
        origin = request.headers.get("Origin")
        if origin is not None and origin != f"http://{own}":
            return "the Origin is another one"
        if request.headers.get("Sec-Fetch-Site", "none") not in ("none", "same-origin"):
            return "another site asks"
        given = request.path.split("/")[1].encode(errors="surrogateescape")
        if not hmac.compare_digest(given, self.token.encode()):
            return "the token is missing or wrong: take the address that ./dev lab printed"
        return ""

    # What is answered.

    async def _file(self, request: web.Request) -> web.StreamResponse:
        """Of the page's folder, by names that are in it."""
        name = request.match_info["file"] or "index.html"
        files = {path.name: path for path in _PAGE.iterdir() if path.suffix in _KINDS}
        if name not in files:
            raise web.HTTPNotFound()
        path = files[name]
        return web.Response(
            body=path.read_bytes(), content_type=_KINDS[path.suffix], charset="utf-8"
        )

    async def _operations(self, _request: web.Request) -> web.StreamResponse:
        return web.json_response(described())

    def _handler(self, operation: Operation) -> Any:
        async def handle(request: web.Request) -> web.StreamResponse:
            try:
                given = _asked(operation, request) if operation.asks else await _told(request)
                names = [setup.name for setup in self._mesh.setups]
                checked = operation.checked(given, names)
                director = self._mesh.director
                before = director.before() if operation in OPERATIONS else None
                answer = await operation.call(self._mesh, **checked)
                if before and not operation.asks:
                    director.was_done(operation, given, answer, before)
                return web.json_response(answer)
            except WrongCall as wrong:
                return _refused(400, str(wrong))
            except Failure as failure:
                return _refused(409, str(failure))

        return handle

    # The stream.

    async def _events(self, request: web.Request) -> web.StreamResponse:
        if self._mesh.board.onlookers >= _MOST_ONLOOKERS:
            return _refused(503, f"{_MOST_ONLOOKERS} pages look on already: close some")
        response = web.StreamResponse(headers={**_HEADERS, "Content-Type": "text/event-stream"})
        await response.prepare(request)
        onlooker = Onlooker(self._mesh.board)
        self._mesh.board.add(onlooker)
        try:
            # Whoever reads slowly is waited for here, and nobody else waits.
            with contextlib.suppress(ConnectionError):
                await self._tell(onlooker, response)
        finally:
            self._mesh.board.remove(onlooker)
        return response

    async def _tell(self, onlooker: Onlooker, response: web.StreamResponse) -> None:
        while not self._closing.is_set():
            try:
                await asyncio.wait_for(onlooker.news.wait(), _ALIVE)
            except asyncio.TimeoutError:
                await response.write(b": alive\n\n")
                continue
            await asyncio.sleep(_GATHER)
            if step := onlooker.step():
                text = json.dumps(step, separators=(",", ":"))
                await response.write(f"data: {text}\n\n".encode())


def _asked(operation: Operation, request: web.Request) -> dict[str, Any]:
    """The parameters in the address, each once."""
    kinds = {parameter.name: parameter for parameter in operation.parameters}
    given: dict[str, Any] = {}
    for name, text in request.query.items():
        if name not in kinds or name in given:
            raise WrongCall(f"{operation.name} knows no {name!s:.40}, or it is there twice")
        given[name] = kinds[name].read(text)
    return given


async def _told(request: web.Request) -> dict[str, Any]:
    """The object in the body. A form of another page cannot send this kind of text."""
    if request.content_type != "application/json":
        raise WrongCall("expected a body of the type application/json")
    try:
        given = json.loads(await request.text())
    except (ValueError, RecursionError):
        raise WrongCall("expected one JSON object") from None
    if not isinstance(given, dict):
        raise WrongCall("expected one JSON object")
    return given

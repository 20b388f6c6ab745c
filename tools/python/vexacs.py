"""Client of the configuration daemon vexacsd for gateway scripts.

The module talks to the daemon's bus endpoint "vexacs" through the bus library's client calls
(libmsgbus.so), so it works with any library of the same interface. It needs nothing but the
standard library.

    import vexacs
    client = vexacs.Client()
    print(client.query_setting("tcp_serial", index=2))
    client.set_setting('<tcp_serial index="2"><port>2102</port></tcp_serial>')
    client.serve("mytarget", lambda payload: "<ok/>")   # answers do_command target="mytarget"
"""

import ctypes
import ctypes.util
import errno
import os
import re
import sys
import threading
import traceback

__all__ = ["Client", "VexacsError"]

ENDPOINT = "vexacs"
OP_RCI = 0
OP_REGISTER = 2
# Longer than the daemon's 45 seconds for a do_command that it forwards to a local client.
DEFAULT_TIMEOUT = 60.0

# Words for the daemon's negative results, by operation (None: any operation).
_RESULTS = {
    (None, -errno.EMSGSIZE): "the reply was larger than the bus allows",
    (OP_RCI, -2): "no RCI content (an empty rci_request)",
    (OP_RCI, -3): "the root element is not rci_request",
    (OP_RCI, -4): "the daemon could not create a reply buffer",
    (OP_RCI, -5): "not well-formed XML",
    (OP_REGISTER, -1): "the name is already registered",
    (OP_REGISTER, -2): "the daemon is out of memory",
}

# An element name as a group name must be one: nothing that could end the element or start another.
_NAME = re.compile(r"[A-Za-z_][A-Za-z0-9_.-]*\Z")


class VexacsError(Exception):
    """A request that got no reply: `code` is the daemon's negative result, or None when nothing
    came back at all (then `errno` says why)."""

    def __init__(self, message, code=None, error=None):
        super().__init__(message)
        self.code = code
        self.errno = error


def _result_error(op, code):
    words = _RESULTS.get((op, code)) or _RESULTS.get((None, code)) or "the request failed"
    return VexacsError("%s (result %d)" % (words, code), code=code)


def _no_reply_error(error, timeout):
    if error == errno.ETIMEDOUT:
        words = "timed out after %g s" % timeout
    else:
        words = os.strerror(error)
    return VexacsError("no reply: " + words, error=error)


def _load(library):
    bus = ctypes.CDLL(library, use_errno=True)
    bus.msgbus_connect.restype = ctypes.c_void_p
    bus.msgbus_connect.argtypes = [ctypes.c_char_p]
    bus.msgbus_disconnect.restype = None
    bus.msgbus_disconnect.argtypes = [ctypes.c_void_p]
    bus.msgbus_request.restype = ctypes.c_int
    bus.msgbus_request.argtypes = [
        ctypes.c_void_p, ctypes.c_int, ctypes.c_uint32,
        ctypes.c_char_p, ctypes.c_size_t, ctypes.c_char_p, ctypes.c_size_t,
        ctypes.POINTER(ctypes.c_int), ctypes.POINTER(ctypes.c_void_p),
        ctypes.POINTER(ctypes.c_size_t), ctypes.c_int,
    ]
    bus.msgbus_serve.restype = ctypes.c_int
    bus.msgbus_serve.argtypes = [ctypes.c_void_p, _SERVE_FN, ctypes.c_void_p,
                                 ctypes.POINTER(ctypes.c_int)]
    return bus


# The library frees what a serve function returns, so answers are copied into malloc'd memory.
_SERVE_FN = ctypes.CFUNCTYPE(ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p, ctypes.c_size_t,
                             ctypes.c_void_p)
_libc = ctypes.CDLL(ctypes.util.find_library("c"), use_errno=True)
_libc.malloc.restype = ctypes.c_void_p
_libc.malloc.argtypes = [ctypes.c_size_t]
_libc.free.restype = None
_libc.free.argtypes = [ctypes.c_void_p]


def _malloc_text(text):
    data = text.encode()
    copy = _libc.malloc(len(data) + 1)
    if copy:
        ctypes.memmove(copy, data + b"\0", len(data) + 1)
    return copy


def _group_element(group, index=None):
    if not _NAME.match(group):
        raise ValueError("not a group name: %r" % group)
    if index is None:
        return "<%s/>" % group
    return '<%s index="%d"/>' % (group, int(index))


class Client:
    """One connection to the daemon. Requests run one at a time; use one Client per thread."""

    def __init__(self, endpoint=ENDPOINT, timeout=DEFAULT_TIMEOUT, library="libmsgbus.so"):
        self._bus = _load(library)
        self._timeout = timeout
        self._tag = 0
        self._stop = ctypes.c_int(0)
        self._handle = self._bus.msgbus_connect(endpoint.encode())
        if not self._handle:
            error = ctypes.get_errno()
            raise VexacsError("cannot reach %s: %s" % (endpoint, os.strerror(error)), error=error)

    def close(self):
        if self._handle:
            self._bus.msgbus_disconnect(self._handle)
            self._handle = None

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def _exchange(self, op, payload):
        """Sends one message; returns (result, reply text). Raises when no reply came."""
        data = payload.encode() if isinstance(payload, str) else payload
        self._tag = (self._tag + 1) & 0xFFFFFFFF
        result = ctypes.c_int(0)
        reply = ctypes.c_void_p()
        length = ctypes.c_size_t(0)
        sent = self._bus.msgbus_request(self._handle, op, self._tag, data, len(data), None, 0,
                                        ctypes.byref(result), ctypes.byref(reply),
                                        ctypes.byref(length), int(self._timeout * 1000))
        if sent < 0:
            raise _no_reply_error(ctypes.get_errno(), self._timeout)
        try:
            text = ctypes.string_at(reply.value, length.value) if reply.value else b""
        finally:
            _libc.free(reply)
        return result.value, text.decode(errors="replace")

    def request(self, xml_text):
        """Sends one rci_request and returns the rci_reply text. Raises VexacsError, carrying the
        result code, when the daemon could not process the request."""
        result, text = self._exchange(OP_RCI, xml_text)
        if result < 0:
            raise _result_error(OP_RCI, result)
        return text

    def _command(self, command, inner):
        return self.request('<rci_request version="1.1"><%s>%s</%s></rci_request>'
                            % (command, inner, command))

    def query_setting(self, group, index=None):
        """The rci_reply with the settings of `group` (every instance, or only `index`)."""
        return self._command("query_setting", _group_element(group, index))

    def set_setting(self, xml_fragment):
        """Sends `xml_fragment` (one or more setting groups) inside set_setting; returns the
        rci_reply, which holds an error element for each setting that was refused."""
        return self._command("set_setting", xml_fragment)

    def query_state(self, group=None):
        """The rci_reply with every state group, or only `group`."""
        return self._command("query_state", "" if group is None else _group_element(group))

    def serve(self, name, handler, ready=None):
        """Registers `name` and answers every do_command whose target is `name` with
        handler(payload) -> text, where payload is the text of the command's child elements.
        ready(), when given, is called once the name is registered. Returns when stop() is called
        or the daemon closes the connection."""
        result, _ = self._exchange(OP_REGISTER, name.encode() + b"\0")
        if result < 0:
            raise _result_error(OP_REGISTER, result)
        if ready:
            ready()

        def answer(_name, payload, length, _arg):
            try:
                return _malloc_text(handler(ctypes.string_at(payload, length).decode()))
            except Exception:  # the library must get an answer, not an exception
                traceback.print_exc(file=sys.stderr)
                return _malloc_text("")

        callback = _SERVE_FN(answer)
        self._stop.value = 0
        # The library polls the stop flag; serving on a thread of its own keeps this thread free to
        # take Ctrl-C, which then stops the serving thread.
        outcome = []

        def run():
            served = self._bus.msgbus_serve(self._handle, callback, None, ctypes.byref(self._stop))
            outcome.append((served, ctypes.get_errno()))

        worker = threading.Thread(target=run, daemon=True)
        worker.start()
        try:
            while worker.is_alive():
                worker.join(0.5)
        finally:
            self._stop.value = 1
            worker.join()
        if outcome and outcome[0][0] < 0:
            error = outcome[0][1]
            raise VexacsError("serving ended: " + os.strerror(error), error=error)

    def stop(self):
        """Ends serve() within a second; may be called from another thread or a handler."""
        self._stop.value = 1

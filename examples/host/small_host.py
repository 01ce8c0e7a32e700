"""The same host in Python, in as few words as the C interface allows: small_host.py LIBRARY POLICY."""

import ctypes
import sys
from ctypes import POINTER, Structure, byref, c_char_p, c_int, c_int32, c_size_t, c_void_p


class Options(Structure):
    _fields_ = [("size", c_size_t), ("plugin", c_char_p), ("policy", c_char_p), ("event_log", c_char_p)]


class Head(Structure):
    _fields_ = [("size", c_size_t), ("status", c_int32), ("url", c_char_p), ("client", c_char_p),
                ("content_type", c_char_p), ("content_encoding", c_char_p),
                ("accept_encoding", c_char_p), ("block", c_char_p)]


class Bytes(Structure):
    _fields_ = [("data", c_void_p), ("size", c_size_t)]


class Event(Structure):
    _fields_ = [("size", c_size_t), ("kind", c_int), ("category", c_int32),
                ("category_name", c_char_p), ("item", Bytes), ("detail", Bytes), ("reason", c_char_p)]


@ctypes.CFUNCTYPE(None, c_void_p, POINTER(Event))
def say(_, event):
    e = event.contents
    words = [ctypes.string_at(part.data, part.size).decode() for part in (e.item, e.detail)]
    print(f"{e.category_name.decode()}: {words[0]} {words[1]}", file=sys.stderr)


velmora = ctypes.CDLL(sys.argv[1])


def checked(code):
    if code != 0:
        sys.exit(f"small_host: {message.value or code}")


def send(call, response, *arguments):
    out = Bytes()
    checked(call(response, *arguments, byref(out)))
    while out.size:
        sys.stdout.buffer.write(ctypes.string_at(out.data, out.size))
        checked(velmora.velmora_response_next(response, byref(out)))


host, response = c_void_p(), c_void_p()
message = ctypes.create_string_buffer(4096)
options = Options(ctypes.sizeof(Options), policy=sys.argv[2].encode())
checked(velmora.velmora_host_open(byref(options), byref(host), message, c_size_t(4096)))
head = Head(ctypes.sizeof(Head), url=b"http://www.example.com/", content_type=b"text/html")
checked(velmora.velmora_response_begin(host, byref(head), say, None, byref(response)))
page = sys.stdin.buffer.read()
send(velmora.velmora_response_push, response, page, c_size_t(len(page)))
send(velmora.velmora_response_finish, response)
velmora.velmora_response_end(response)
velmora.velmora_host_close(host)

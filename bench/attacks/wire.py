"""What both sides of an attack put on the wire: requests and WebSocket frames."""

import base64
import http.client
import json
import os
import socket
import struct

TEXT, BINARY, CLOSE, PING = 1, 2, 8, 9
GET_PREVIEW_URL, GET_PLAYBACK_URL, GET_DOWNLOAD_URL = 0x100103, 0x100104, 0x100105
DEVICE_TEST, GET_CONNECT_TYPE = 0x100106, 0x10010E
PREVIEW, PLAYBACK, SEEK, DOWNLOAD = 0x100200, 0x100202, 0x100207, 0x10020A
SMALL_BUFFER = 4096


def request(method, path, token="", headers=(), body=b""):
    """An HTTP request. Without a body and without a length of one in headers it announces none."""
    lines = [f"{method} {path} HTTP/1.1", "Host: 127.0.0.1", *headers]
    if token:
        lines.append(f"Authorization: Bearer {token}")
    if body:
        lines.append(f"Content-Length: {len(body)}")
    return "\r\n".join(lines).encode() + b"\r\n\r\n" + body


def command_body(module, command, device, body):
    return json.dumps({"module": module, "id": command, "deviceId": device, "body": body}).encode()


def fetch(port, method, path, token="", body=None, timeout=5):
    """One exchange on a connection of its own. @return status and body; raises OSError, HTTPException"""
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=timeout)
    try:
        connection.request(method, path, body, {"Authorization": f"Bearer {token}"} if token else {})
        answer = connection.getresponse()
        return answer.status, answer.read()
    finally:
        connection.close()


def stream_key(port, token, device, channel, command=GET_PREVIEW_URL, **more):
    """Has the host open a stream. @return its key; ConnectionError if the host refuses"""
    body = command_body("files", command, device, {"id": device, "channel": channel, **more})
    status, text = fetch(port, "POST", "/api/commands", token, body, timeout=20)
    answer = json.loads(text)
    if status != 200 or answer["result"] != 1:
        raise ConnectionError(f"no stream: {status} {answer}")
    return json.loads(answer["body"])["uri"]


def connect(port, receive_buffer=None):
    client = socket.socket()
    if receive_buffer:
        client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
    client.settimeout(1)
    try:
        client.connect(("127.0.0.1", port))
    except OSError:
        client.close()
        raise
    return client


def join(port, token, receive_buffer=None):
    """Connects and becomes a WebSocket player. @return the socket and what came behind the upgrade"""
    client = connect(port, receive_buffer)
    try:
        key = base64.b64encode(os.urandom(16)).decode()
        client.sendall(request("GET", "/stream", token, (
            "Upgrade: websocket", "Connection: Upgrade", "Sec-WebSocket-Version: 13",
            f"Sec-WebSocket-Key: {key}")))
        head = b""
        while b"\r\n\r\n" not in head:
            piece = client.recv(4096)
            if not piece:
                raise ConnectionError("closed instead of an upgrade")
            head += piece
        head, rest = head.split(b"\r\n\r\n", 1)
        if b" 101 " not in head.split(b"\r\n")[0]:
            raise ConnectionError(head.decode(errors="replace"))
    except OSError:
        client.close()
        raise
    return client, rest


def frame_head(opcode, length, fin=True, masked=True, reserved=0):
    """Head of a frame whose mask, if any, is zero: the payload follows as it is."""
    first = bytes([(0x80 if fin else 0) | reserved << 4 | opcode])
    mask = 0x80 if masked else 0
    if length < 126:
        size = bytes([mask | length])
    elif length < 1 << 16:
        size = bytes([mask | 126]) + struct.pack(">H", length)
    else:
        size = bytes([mask | 127]) + struct.pack(">Q", length)
    return first + size + (b"\0\0\0\0" if masked else b"")


def frame(opcode, payload, **how):
    return frame_head(opcode, len(payload), **how) + payload


def player_request(command, key, body=""):
    return frame(TEXT, json.dumps({"cmd": command, "key": key, "body": body}).encode())


def read_frames(data):
    """Takes whole frames of a server off the front of a bytearray. Yields opcode and payload."""
    while len(data) >= 2:
        length, start = data[1] & 0x7F, 2
        if length >= 126:
            start = 4 if length == 126 else 10
            if len(data) < start:
                return
            length = int.from_bytes(data[2:start], "big")
        if len(data) < start + length:
            return
        opcode, payload = data[0] & 0xF, bytes(data[start:start + length])
        del data[:start + length]
        yield opcode, payload

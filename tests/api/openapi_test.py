#!/usr/bin/env python3
"""Calls every operation that docs/openapi.yaml describes on a running host, and holds each answer to its
description: openapi_test.py OPENAPI VMSHOST MEDIAFILE_LIBRARY"""
import http.client
import json
import pathlib
import sys
import urllib.parse

sys.path.append(str(pathlib.Path(__file__).parents[1] / "support"))
from description import Description
from running_host import ADMIN_PASSWORD, TOKEN, WAIT, RunningHost

# What is described and not there. One that has come fails the test: it then needs a call below.
NOT_THERE_YET = set()

# What succeeds only with a browser at the other end, and has tests of its own; here it fails as described.
NEEDS_A_BROWSER = {"whep", "endWhep"}

UPGRADE = {"Upgrade": "websocket", "Connection": "Upgrade", "Sec-WebSocket-Version": "13",
           "Sec-WebSocket-Key": "dGhlIHNhbXBsZSBub25jZQ=="}
DAY = {"from": "2026-03-05", "to": "2026-03-06"}
CLIP = {"from": "2026-03-05T08:00:00Z", "to": "2026-03-05T08:00:02Z"}
HALL = {"device": "hall"}
YARD = {"device": "yard"}
CHANNEL = {"device": "hall", "channel": "0"}


def call(operation, status, path=None, query=None, body=None, headers=None, session=False, streams=False):
    return dict(operation=operation, status=status, path=path or {}, query=query or {}, body=body,
                headers=headers or {}, session=session, streams=streams)


# In this order; the body is the description's example unless another is given. `session`: with the cookie
# of the latest login instead of the token; `streams`: the answer has no end.
CALLS = [
    call("health", 200), call("host", 200), call("metrics", 200), call("status", 200), call("streams", 200),
    call("command", 200), call("command", 404, body={"module": "none", "id": "0x10010a"}),
    call("listDevices", 200), call("listDevices", 400, query={"limit": "0"}),
    call("testDevice", 200), call("testDevice", 502, body={"kind": "mediafile", "ip": "nowhere"}),
    call("addDevice", 201), call("addDevice", 409), call("addDevice", 400, body={"id": 5}),
    call("showDevice", 200, YARD), call("showDevice", 404, {"device": "no/one %00?".replace("%00", "")}),
    call("changeDevice", 200, YARD), call("changeDevice", 409, HALL),
    call("capability", 200, HALL), call("capability", 404, {"device": "none"}),
    call("permission", 200, HALL), call("connection", 200, HALL), call("deviceTime", 200, HALL),
    call("setDeviceTime", 204, HALL), call("channels", 200, HALL), call("nameChannels", 204, HALL),
    call("nameChannels", 502, HALL, body={"channels": [{"channel": 7, "name": "x"}]}),
    call("removeDevice", 204, YARD), call("removeDevice", 409, HALL),
    call("records", 200, query={**HALL, **DAY}), call("records", 400, query={**HALL, "from": "now", "to": "1"}),
    call("recordDays", 200, query={**HALL, "month": "2026-03"}), call("recordDays", 400, query=HALL),
    call("ptz", 204), call("ptz", 204, body={"device": "hall", "action": "stop"}),
    call("ptz", 400, body={"device": "hall", "action": "fly"}),
    call("setPtzSpeed", 204), call("ptzSpeed", 200, query=HALL),
    call("putPreset", 204), call("presets", 200, query=HALL), call("putCruise", 204),
    call("cruise", 200, query=HALL), call("cruise", 502, query={**HALL, "cruise": "30"}),
    call("deleteCruise", 204, query={**HALL, "cruise": "1"}),
    call("deletePreset", 204, query={**HALL, "preset": "3"}),
    call("deletePreset", 502, query={**HALL, "preset": "3"}),
    call("talk", 101, query=CHANNEL, headers=UPGRADE), call("talk", 426, query=CHANNEL),
    call("playerSocket", 101, query=CHANNEL, headers=UPGRADE), call("playerSocket", 426),
    call("events", 200, query={"after": "0"}, streams=True), call("events", 400, query={"after": "x"}),
    call("eventLog", 200), call("eventLog", 200, query={"type": "device-added", "limit": "1"}),
    call("eventLog", 400, query={"from": "never"}),
    call("liveTs", 200, CHANNEL, streams=True), call("liveMp4", 200, CHANNEL, streams=True),
    call("liveTs", 404, {"device": "none", "channel": "0"}),
    call("snapshot", 200, CHANNEL), call("snapshot", 400, CHANNEL, query={"width": "1"}),
    call("playTs", 200, CHANNEL, query=CLIP, streams=True), call("playTs", 400, CHANNEL),
    call("playMp4", 200, CHANNEL, query=CLIP, streams=True),
    call("download", 200, CHANNEL, query=CLIP), call("download", 400, CHANNEL),
    call("download", 206, CHANNEL, query=CLIP, headers={"Range": "bytes=0-99"}),
    call("download", 416, CHANNEL, query=CLIP, headers={"Range": "bytes=999999999-"}),
    call("whepOptions", 204, CHANNEL), call("endWhep", 404, {**CHANNEL, "session": "x"}),
    call("whep", (400, 501), CHANNEL, body=b"v=0\r\n", headers={"Content-Type": "application/sdp"}),
    call("logIn", 200),
    call("whoAmI", 200, session=True), call("whoAmI", 401, headers={"Authorization": "Bearer wrong"}),
    call("changePassword", 409, session=True), call("logOut", 200, session=True),
    call("listUsers", 200), call("addUser", 201), call("addUser", 409), call("changeUser", 200, {"user": "guard"}),
    call("changeUser", 409, {"user": "admin"}), call("logIn", 200, body={"name": "guard", "password": ADMIN_PASSWORD}),
    call("changePassword", 200, session=True), call("endSessions", 200, {"user": "guard"}),
    call("whoAmI", 401, session=True), call("removeUser", 200, {"user": "guard"}),
    call("removeUser", 404, {"user": "guard"}),
    call("addToken", 201), call("listTokens", 200), call("removeToken", 200, {"token": "recorder"}),
    call("sign", 200), call("sign", 400, body={"path": "/api/devices"}),
    call("logIn", 401, body={"name": "admin", "password": "wrong"}),
]

GARBAGE = [b"", b"[]", b"\xff\xfe", b"[" * 5000, b'{"a":' * 5000, b'{"device": {"device": []}}', b"5", b"null",
           b'{"id": "\\u0000", "name": 1e999}', b'{"x": [' + b"0," * 100_000 + b"0]}"]


class Client:
    def __init__(self, description, port):
        self._description = description
        self._port = port
        self._cookie = ""

    def call(self, one):
        """@return status, headers in lower case, body: JSON, text, or None for one without end"""
        identifier = one["operation"]
        method, path, _, _ = self._description.operations[identifier]
        for name, value in one["path"].items():
            path = path.replace("{" + name + "}", urllib.parse.quote(value, safe=""))
        if one["query"]:
            path += "?" + urllib.parse.urlencode(one["query"])
        body = one["body"] if one["body"] is not None else self._description.body_of(identifier)
        return self.send(method, path, body if body is None or isinstance(body, bytes) else json.dumps(body),
                         self._headers(one), one["streams"])

    def send(self, method, path, body, headers, streams=False):
        connection = http.client.HTTPConnection("127.0.0.1", self._port, timeout=WAIT)
        try:
            connection.request(method, path, body, headers)
            response = connection.getresponse()
            found = {name.lower(): value for name, value in response.getheaders()}
            if "set-cookie" in found:
                self._cookie = found["set-cookie"].split(";")[0]
            if streams and response.status == 200:
                assert response.read(64), f"{path} gives nothing"
                return response.status, found, None
            data = b"" if response.status == 101 else response.read()
            is_json = found.get("content-type", "").startswith("application/json") and data
            return response.status, found, json.loads(data) if is_json else data
        finally:
            connection.close()

    def _headers(self, one):
        headers = {"Authorization": f"Bearer {TOKEN}"}
        if one["session"]:
            headers = {"Cookie": self._cookie, "Origin": f"http://127.0.0.1:{self._port}"}
        return {**headers, **one["headers"]}


def check_calls(description, client):
    called = set()
    for one in CALLS:
        identifier = one["operation"]
        status, headers, body = client.call(one)
        expected = one["status"] if isinstance(one["status"], tuple) else (one["status"],)
        assert status in expected, f"{identifier}: {status} {body} in place of {expected}"
        description.check_answer(identifier, status, headers, body)
        if status < 400 or identifier in NEEDS_A_BROWSER:
            called.add(identifier)
    missing = set(description.operations) - called - NOT_THERE_YET
    assert not missing, f"nobody calls {missing}"


def check_not_there_yet(description, client):
    for identifier in NOT_THERE_YET:
        one = call(identifier, 404, path={"device": "hall", "channel": "0", "session": "x"}, body=b"")
        status, _, _ = client.call(one)
        assert status == 404, f"{identifier} has come ({status}): it needs a call in this test"


def check_garbage(description, client):
    """No body upsets an operation that takes one: it says what is wrong, and the host lives on."""
    for identifier in description.operations:
        if identifier in NOT_THERE_YET or not description.has_json_body(identifier):
            continue
        for garbage in GARBAGE:
            one = call(identifier, 400, path={"device": "hall", "user": "admin"}, body=garbage)
            status, headers, body = client.call(one)
            assert status == 400, f"{identifier}: {status} {body} for {garbage[:40]}"
            description.check_answer(identifier, status, headers, body)
    status, _, body = client.call(call("health", 200))
    assert status == 200, body


def check_rights(description, client):
    """Nothing but what is open to all is answered to a stranger."""
    for identifier, (method, path, operation, _) in description.operations.items():
        if identifier in NOT_THERE_YET or operation.get("security") == [{}]:
            continue
        status, headers, body = client.send(method, path.replace("{", "").replace("}", ""), None, {})
        assert status == 401, f"{identifier}: a stranger gets {status} {body}"
        description.check_answer(identifier, status, headers, body)


def main():
    description = Description(sys.argv[1])
    description.check_itself()
    with RunningHost(sys.argv[2], sys.argv[3]) as host:
        client = Client(description, host.port)
        check_calls(description, client)
        check_not_there_yet(description, client)
        check_garbage(description, client)
        check_rights(description, client)
        errors = host.errors()
    assert host.status == 0, f"vmshost ended with {host.status}: {errors}"
    print(f"{len(CALLS)} calls of {len(description.operations)} operations are as they are described")


if __name__ == "__main__":
    main()

"""All attacks, in the order in which they run."""

import dataclasses
import typing

from attacks import api_attacks, http_attacks, player_attacks


@dataclasses.dataclass
class Attack:
    name: str
    title: str
    function: typing.Optional[typing.Callable]  # takes a Target; None = nobody attacks
    processes: int = 1
    stretch: int = 1  # times the usual seconds: the kernel's buffers must fill first


ATTACKS = [
    Attack("calm", "no attack: what the machine itself costs", None),
    Attack("extensions", "a stranger sends a chunk extension without an end", http_attacks.endless_extensions),
    Attack("trailers", "a stranger sends trailers without an end", http_attacks.endless_trailers),
    Attack("tiny-chunks", "a stranger sends tiny chunks with long extensions", http_attacks.tiny_chunks),
    Attack("stranger-bodies", "200 strangers hold 3 MiB of a body each", http_attacks.held_bodies_of_strangers),
    Attack("bodies", "200 with the token hold 3 MiB of a body each", http_attacks.held_bodies),
    Attack("unread-4", "4 pipeline hundreds of requests and never read", http_attacks.unread_answers(4)),
    Attack("unread-64", "64 pipeline hundreds of requests and never read", http_attacks.unread_answers(64),
           stretch=3),
    Attack("pings", "a player pings and never reads", player_attacks.unread_pongs),
    Attack("requests", "a player sends requests and never reads", player_attacks.unread_answers),
    Attack("unfinished", "200 players never finish a message of 4 MiB", player_attacks.unfinished_messages),
    Attack("unread-live", "50 players of live streams never read", player_attacks.unread_live, stretch=3),
    Attack("unread-recorded", "20 players of recordings never read", player_attacks.unread_recordings),
    Attack("idle-1000", "1,000 connections say nothing", http_attacks.idle(1000)),
    Attack("idle-2000", "2,000 connections say nothing", http_attacks.idle(2000)),
    Attack("slow-headers", "300 send their header byte by byte", http_attacks.slow_headers),
    Attack("silent-device", "64 requests wait for one silent device", http_attacks.silent_device(1)),
    Attack("silent-devices", "64 requests wait for silent devices", http_attacks.silent_device(64)),
    Attack("previews", "1,000 previews are opened and nobody watches", http_attacks.unwatched_previews, 4),
    Attack("churn", "200 players a second join and reset", http_attacks.churn),
    Attack("malformed", "malformed requests of all kinds", http_attacks.malformed),
    Attack("frames", "WebSocket frames broken in every way", player_attacks.malformed),
    Attack("commands", "a player sends nonsense to the stream of another", player_attacks.wrong_requests),
    Attack("json", "bodies of hostile JSON, deep, long and compressed", http_attacks.hostile_json, 4),
    Attack("events", "1,000 watch the events and never read, while devices come and go", api_attacks.unread_events),
    Attack("devices", "four add and remove devices as fast as they can", api_attacks.change_devices, 4),
    Attack("moves", "four begin movements that nobody stops", api_attacks.moves, 4),
]

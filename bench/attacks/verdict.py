"""A row of the table: what was seen beside an attack, and what of it is beyond the bounds."""

from attacks.host import END_LIMIT

GROWTH_MB, HEALTH_MS, API_MS, GAP_MS = 128, 100, 1000, 1000


def failures(name, client):
    return f"{name} failed {client['failed']}/{client['count']} ({client['complaint'][:50]})"


def complaints(row):
    """What is beyond the bounds."""
    player, api, health = row["player"], row["api"], row["health"]
    growth = row["peak_mb"] - row["before_mb"]
    checks = [
        (row["died"], f"the host died ({row['status']})"),
        (row["broken_off"], "broken off"),
        (growth > GROWTH_MB, f"memory +{growth:.0f}"),
        (health["failed"], failures("health", health)),
        (health["worst_ms"] > HEALTH_MS, f"health {health['worst_ms']:.0f} ms"),
        (api["failed"], failures("API", api)),
        (api["worst_ms"] > API_MS, f"API {api['worst_ms']:.0f} ms"),
        (player["complaint"], f"player: {player['complaint']}"),
        (player["lost"], f"lost {player['lost']}"),
        (player["gap_ms"] > GAP_MS, f"gap {player['gap_ms']:.0f} ms"),
        (not row["died"] and row["end_s"] is None, f"no end in {END_LIMIT} s"),
        (not row["died"] and row["status"] not in (0, None), f"ended with {row['status']}"),
        (not row["worked"], "the attack itself failed"),
        (row["attacked"] and not row["connections"], "nobody attacked"),
    ]
    return [text for broken, text in checks if broken]


HEADINGS = f"{'attack':17}{'MB before/peak/after':>21}{'threads':>8}{'fds':>6}{'health':>8}{'API':>7}" \
           f"{'lost':>6}{'gap':>7}{'end s':>7}  verdict (times in ms)"


def table_line(row):
    memory = f"{row['before_mb']:.0f}/{row['peak_mb']:.0f}/" + \
        (f"{row['after_mb']:.0f}" if row["after_mb"] is not None else "-")
    end = f"{row['end_s']:.1f}" if row["end_s"] is not None else "-"
    player, api, health = row["player"], row["api"], row["health"]
    return f"{row['name']:17}{memory:>21}{row['threads']:8}{row['descriptors']:6}{health['worst_ms']:8.0f}" \
           f"{api['worst_ms']:7.0f}{player['lost']:6}{player['gap_ms']:7.0f}{end:>7}  " + \
           ("; ".join(row["complaints"]) or "good")

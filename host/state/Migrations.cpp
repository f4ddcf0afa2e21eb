#include "host/state/Migrations.h"

#include <array>

namespace vms::host {
namespace {

// Times are seconds since the epoch, UTC; an expiry of 0 is none. "stamp" changes with each change
// of password or role: a session is good only while it has its user's. "digest" holds what digest
// access compares with, sealed.
constexpr char kAccounts[] = R"(
CREATE TABLE users (
    name TEXT PRIMARY KEY, role TEXT NOT NULL, password TEXT NOT NULL, digest BLOB NOT NULL,
    stamp TEXT NOT NULL, created INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
CREATE TABLE tokens (
    name TEXT PRIMARY KEY, role TEXT NOT NULL, hash BLOB NOT NULL UNIQUE, digest BLOB NOT NULL,
    created INTEGER NOT NULL, expires INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
CREATE TABLE sessions (
    hash BLOB PRIMARY KEY, user TEXT NOT NULL, stamp TEXT NOT NULL,
    created INTEGER NOT NULL, used INTEGER NOT NULL
) STRICT, WITHOUT ROWID;
CREATE INDEX sessions_by_user ON sessions (user);
CREATE TABLE settings (name TEXT PRIMARY KEY, value TEXT NOT NULL) STRICT, WITHOUT ROWID;
)";

// Devices that were added while the host ran, as JSON; events, whose time is ms since the epoch, -1
// is no channel, and whose data are JSON or "".
constexpr char kDevicesAndEvents[] = R"(
CREATE TABLE devices (
    id TEXT PRIMARY KEY, module TEXT NOT NULL, description TEXT NOT NULL
) STRICT, WITHOUT ROWID;
CREATE TABLE events (
    id INTEGER PRIMARY KEY, time INTEGER NOT NULL, type TEXT NOT NULL, device TEXT NOT NULL,
    channel INTEGER NOT NULL, data TEXT NOT NULL
) STRICT;
CREATE INDEX events_by_time ON events (time);
)";

constexpr std::array kAll{
    Migration{1, kAccounts},
    Migration{2, kDevicesAndEvents},
};

}  // namespace

std::span<const Migration> AllMigrations() {
    return kAll;
}

}  // namespace vms::host

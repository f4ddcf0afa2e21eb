#pragma once

#include <span>

namespace vms::host {

/// One step of the state file's tables. Steps are numbered from 1 without a gap; one that has been
/// released is never changed.
struct Migration {
    int number;
    const char* sql;  ///< any number of statements
};

/// All steps, in order. Whoever keeps something new in the state appends one.
std::span<const Migration> AllMigrations();

}  // namespace vms::host

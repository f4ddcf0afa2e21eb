// Writes numbers into a state folder until it is killed, and prints each once it has been
// acknowledged: StateWriter FOLDER FIRST
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "host/state/Database.h"
#include "tests/host/state/NumberTable.h"

int main(int argc, char** argv) {
    using vms::host::Database;
    if (argc != 3)
        return 2;
    const vms::host::StateFolder folder(argv[1]);
    Database database(&folder, {}, vms::host::test::kNumberTable);
    for (int64_t number = std::atoll(argv[2]);; ++number) {
        const auto acknowledged = [number](const std::string& problem) {
            const std::string line = std::to_string(number) + "\n";
            if (!problem.empty() || write(STDOUT_FILENO, line.data(), line.size()) < 0)
                std::_Exit(1);
        };
        const auto insert = [number](vms::host::SqlConnection& sql) {
            sql.Run("INSERT INTO numbers VALUES (?)", number);
        };
        // Some in flight, so that transactions hold several, then one that is waited for.
        if (number % 16 != 0) {
            database.Post(insert, acknowledged);
        } else {
            database.WriteNow(insert);
            acknowledged("");
        }
    }
}

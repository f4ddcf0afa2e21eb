#include "platform/Guid.h"

#include <uuid/uuid.h>

#include <array>

std::string GetGuid() {
    uuid_t id;
    uuid_generate_random(id);
    std::array<char, UUID_STR_LEN> text{};
    uuid_unparse_lower(id, text.data());
    return text.data();
}

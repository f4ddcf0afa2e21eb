#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <utility>

namespace vms::host {

/// Guests in the order in which they came, each with where it comes from. When there are too many
/// it is one of those of whom most are there who has to go, the one that came first: a crowd from
/// one place drives out nobody but itself. Not thread-safe.
template <class Guest>
class WaitingRoom {
    struct Place {
        Guest guest;
        uint64_t origin;
    };

public:
    using Ticket = typename std::list<Place>::iterator;

    Ticket Enter(Guest guest, uint64_t origin) {
        size_t& count = counts_[origin];
        const Ticket ticket = places_.insert(places_.end(), Place{std::move(guest), origin});
        ++count;
        return ticket;
    }

    void Leave(Ticket ticket) {
        const auto count = counts_.find(ticket->origin);
        if (--count->second == 0)
            counts_.erase(count);
        places_.erase(ticket);
    }

    size_t Size() const { return places_.size(); }

    /// Who has to go; there must be somebody.
    Guest NextToGo() const {
        const auto fewer = [](const auto& one, const auto& other) {
            return one.second < other.second;
        };
        const size_t most = std::max_element(counts_.begin(), counts_.end(), fewer)->second;
        return std::find_if(places_.begin(), places_.end(),
                            [&](const Place& place) { return counts_.at(place.origin) == most; })
            ->guest;
    }

private:
    std::list<Place> places_;
    std::map<uint64_t, size_t> counts_;  ///< of each origin
};

}  // namespace vms::host

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "media/unit/MediaHeader.h"

namespace vms::host {

/// How much of a stream is kept for those who come later.
struct GopLimits {
    size_t bytes = size_t{16} << 20;
    size_t items = 4096;
    std::chrono::steady_clock::duration age = std::chrono::seconds(30);
};

/// The current group of pictures of a live stream: from its newest key picture on, sound and others
/// that came between included. What grows over its bounds is forgotten whole, up to the next key
/// picture. Not thread-safe.
template <class Item>
class GopCache {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// How far sound may lie before the newest picture and still be of use to a newcomer, ms.
    static constexpr int32_t kSoundBeforePicture = 100;

    explicit GopCache(const GopLimits& limits = {}) : limits_(limits) {}

    /// @param bytes the item counts with
    void Add(Item item, UnitKind kind, uint32_t timestampMs, size_t bytes, Time now) {
        if (kind == UnitKind::kKeyPicture)
            Begin(now);
        if (!open_)
            return;
        bytes_ += bytes;
        if (bytes_ > limits_.bytes || entries_.size() >= limits_.items ||
            now - begun_ > limits_.age) {
            Forget();
            return;
        }
        entries_.push_back({std::move(item), kind, timestampMs});
    }

    /// Takes items without a key picture before them, too, until the next one.
    void OpenIfEmpty(Time now) {
        if (!open_)
            Begin(now);
    }

    void Forget() {
        entries_.clear();
        bytes_ = 0;
        open_ = false;
    }

    bool Empty() const { return entries_.empty(); }

    /// All of it.
    std::vector<Item> Items() const {
        std::vector<Item> items;
        items.reserve(entries_.size());
        for (const Entry& entry : entries_)
            items.push_back(entry.item);
        return items;
    }

    /// What a newcomer is given: the group without the sound of pictures that it will not wait for.
    std::vector<Item> ForNewcomer() const {
        std::vector<Item> items;
        items.reserve(entries_.size());
        const uint32_t newest = NewestPicture();
        for (const Entry& entry : entries_) {
            const auto behind = static_cast<int32_t>(newest - entry.timestampMs);
            if (entry.kind != UnitKind::kOther || behind <= kSoundBeforePicture)
                items.push_back(entry.item);
        }
        return items;
    }

private:
    struct Entry {
        Item item;
        UnitKind kind;
        uint32_t timestampMs;
    };

    void Begin(Time now) {
        Forget();
        open_ = true;
        begun_ = now;
    }

    uint32_t NewestPicture() const {
        for (auto entry = entries_.rbegin(); entry != entries_.rend(); ++entry) {
            if (entry->kind != UnitKind::kOther)
                return entry->timestampMs;
        }
        return 0;
    }

    const GopLimits limits_;
    std::vector<Entry> entries_;
    size_t bytes_ = 0;
    bool open_ = false;  ///< a key picture has come, and what follows it fits
    Time begun_;
};

}  // namespace vms::host

#ifndef KEST_CORE_KESTLRUMAP_H
#define KEST_CORE_KESTLRUMAP_H

#include "core/KestLRUData.h"
#include "core/KestTime.h"

#include <cstdint>
#include <map>
#include <mutex>

namespace Kest {

// A bounded cache of owned values by key. When full, a new entry first
// evicts the least recently used one (smallest last-use time, the smallest
// key among equal times). Every operation takes the cache's lock, so one
// thread may fill it while another looks things up.
template <typename K, typename V>
class KestLRUMap {
public:
    explicit KestLRUMap(int capacity) : capacity(capacity) {}
    ~KestLRUMap()
    {
        std::lock_guard<std::mutex> lock(mutex);
        for (auto& entry : entries) {
            delete entry.second;
        }
        entries.clear();
    }
    KestLRUMap(const KestLRUMap&) = delete;
    KestLRUMap& operator=(const KestLRUMap&) = delete;

    // Takes ownership of value: evicts until there is room, then inserts a
    // new entry used now. A key already present keeps its entry, and the
    // refused value is deleted (value is null afterwards). Returns 0.
    int Put(const K& key, V*& value)
    {
        std::lock_guard<std::mutex> lock(mutex);
        while (static_cast<int>(entries.size()) >= capacity && !entries.empty()) {
            if (!RemoveHotlessLocked()) {
                break;
            }
        }
        if (entries.find(key) == entries.end()) {
            entries[key] = new KestLRUData<V>(KestTime::GetTime(), value);
        } else {
            delete value;
        }
        value = nullptr;
        return 0;
    }

    // A look-up: on a hit the entry is counted and marked used now, and its
    // value, when it has one, is copied into *copy (when copy is not null).
    // 1 for a hit with a value, 0 for a hit without one, -1 for a miss.
    int Get(const K& key, V* copy)
    {
        std::lock_guard<std::mutex> lock(mutex);
        auto found = entries.find(key);
        if (found == entries.end()) {
            return -1;
        }
        KestLRUData<V>* entry = found->second;
        entry->hits++;
        entry->time = KestTime::GetTime();
        if (entry->value == nullptr) {
            return 0;
        }
        if (copy != nullptr) {
            *copy = *entry->value;
        }
        return 1;
    }

    // Evicts the least recently used entry; nothing when the cache is
    // empty or the oldest time is negative. Returns 0.
    int LruRemoveHotless()
    {
        std::lock_guard<std::mutex> lock(mutex);
        RemoveHotlessLocked();
        return 0;
    }

    int Size()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return static_cast<int>(entries.size());
    }

    int GetCapacity() const { return capacity; }

    // The hit count of key's entry, -1 when there is none.
    int Hits(const K& key)
    {
        std::lock_guard<std::mutex> lock(mutex);
        auto found = entries.find(key);
        return found == entries.end() ? -1 : found->second->hits;
    }

    bool Contains(const K& key)
    {
        std::lock_guard<std::mutex> lock(mutex);
        return entries.find(key) != entries.end();
    }

private:
    // With the lock held: false when nothing could be evicted.
    bool RemoveHotlessLocked()
    {
        auto oldest = entries.end();
        for (auto it = entries.begin(); it != entries.end(); ++it) {
            if (oldest == entries.end() || it->second->time < oldest->second->time) {
                oldest = it;
            }
        }
        if (oldest == entries.end() || oldest->second->time < 0) {
            return false;
        }
        delete oldest->second;
        entries.erase(oldest);
        return true;
    }

    std::mutex mutex;
    std::map<K, KestLRUData<V>*> entries;
    int capacity;
};

} // namespace Kest

#endif

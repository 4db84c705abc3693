#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace Kaltor::Studio {

using Bytes = std::shared_ptr<std::vector<std::uint8_t> const>;

/// What was made last, up to so many bytes. Not thread-safe.
template <typename Key>
class KeptBytes {
public:
    explicit KeptBytes(std::size_t mostBytes) : most(mostBytes) {}

    bool Contains(Key const& key) const { return index.contains(key); }

    /// Null where it is not there.
    Bytes Find(Key const& key) {
        auto const found = index.find(key);
        if (found == index.end()) {
            return nullptr;
        }
        kept.splice(kept.begin(), kept, found->second);
        return kept.front().second;
    }

    void Add(Key const& key, Bytes const& bytes) {
        if (index.contains(key)) {
            return;
        }
        kept.emplace_front(key, bytes);
        index[key] = kept.begin();
        sum += bytes->size();
        while (sum > most && kept.size() > 1) {
            sum -= kept.back().second->size();
            index.erase(kept.back().first);
            kept.pop_back();
        }
    }

private:
    using List = std::list<std::pair<Key, Bytes>>;
    std::size_t most;
    std::size_t sum = 0;
    List kept;  ///< the last used one first
    std::map<Key, typename List::iterator> index;
};

}  // namespace Kaltor::Studio

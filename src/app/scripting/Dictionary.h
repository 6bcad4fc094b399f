#pragma once
// A key-to-item table that remembers the order in which keys first came.
// Replacing an item keeps its key's place; keys compare by their exact
// characters.

#include <optional>
#include <unordered_map>
#include <vector>

namespace scripting {

template <class Key, class Item, class Hash = std::hash<Key>>
class Dictionary {
public:
    bool Exists(const Key& key) const { return index_.count(key) != 0; }
    int Count() const { return static_cast<int>(keys_.size()); }

    // The item of an existing key; nothing for an absent one.
    std::optional<Item> item(const Key& key) const
    {
        auto it = index_.find(key);
        if (it == index_.end())
            return std::nullopt;
        return items_[it->second];
    }
    // Replaces the item of an existing key; false when the key is absent.
    bool replace(const Key& key, Item value)
    {
        auto it = index_.find(key);
        if (it == index_.end())
            return false;
        items_[it->second] = std::move(value);
        return true;
    }
    // Adds a new key at the end; false when the key is there already.
    bool Add(const Key& key, Item value)
    {
        if (Exists(key))
            return false;
        index_.emplace(key, keys_.size());
        keys_.push_back(key);
        items_.push_back(std::move(value));
        return true;
    }
    const std::vector<Key>& Keys() const { return keys_; }
    const std::vector<Item>& Items() const { return items_; }

private:
    std::unordered_map<Key, std::size_t, Hash> index_;
    std::vector<Key> keys_;
    std::vector<Item> items_;
};

}  // namespace scripting

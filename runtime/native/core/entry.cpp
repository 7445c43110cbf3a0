// The registered behaviours and how they are found.
#include "runtime/native/core/entry.h"

#include <string>
#include <unordered_map>

namespace zelmor::embed {

namespace {

const BehaviourTable*& chain() {
    static const BehaviourTable* first = nullptr;
    return first;
}

std::string key_of(const char* type, const char* entry) {
    return std::string(type) + '\n' + entry;
}

}  // namespace

BehaviourTable::BehaviourTable(Assembly assembly, std::span<const Behaviour> behaviours)
    : assembly_(assembly), behaviours_(behaviours.begin(), behaviours.end()), next_(chain()) {
    chain() = this;
}

const BehaviourTable* BehaviourTable::first() {
    return chain();
}

const Behaviour* find_behaviour(const char* type_full_name, const char* entry_name) {
    using Index = std::unordered_map<std::string, const Behaviour*>;
    static const Index& index = *new Index([] {
        Index all;
        for (const BehaviourTable* table = BehaviourTable::first(); table; table = table->next()) {
            for (const Behaviour& behaviour : table->behaviours()) {
                all.emplace(key_of(behaviour.type, behaviour.entry), &behaviour);
            }
        }
        return all;
    }());
    const auto found = index.find(key_of(type_full_name, entry_name));
    return found == index.end() ? nullptr : found->second;
}

namespace detail {

void throw_null_string() {
    throw_argument_null("a text argument");
}

}  // namespace detail

}  // namespace zelmor::embed

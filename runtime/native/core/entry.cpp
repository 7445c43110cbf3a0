// The registered behaviors and how they are found.
#include "runtime/native/core/entry.h"

#include <string>
#include <unordered_map>

namespace zelmor::embed {

namespace {

const BehaviorTable*& chain() {
    static const BehaviorTable* first = nullptr;
    return first;
}

std::string key_of(const char* type, const char* entry) {
    return std::string(type) + '\n' + entry;
}

}  // namespace

BehaviorTable::BehaviorTable(Assembly assembly, std::span<const Behavior> behaviors)
    : m_assembly(assembly), m_behaviors(behaviors.begin(), behaviors.end()), m_next(chain()) {
    chain() = this;
}

const BehaviorTable* BehaviorTable::first() {
    return chain();
}

const Behavior* find_behavior(const char* type_full_name, const char* entry_name) {
    using Index = std::unordered_map<std::string, const Behavior*>;
    static const Index& index = *new Index([] {
        Index all;
        for (const BehaviorTable* table = BehaviorTable::first(); table; table = table->next()) {
            for (const Behavior& behavior : table->behaviors()) {
                all.emplace(key_of(behavior.type, behavior.entry), &behavior);
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

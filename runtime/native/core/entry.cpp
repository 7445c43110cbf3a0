// The registered behaviors and how they are found.
#include "runtime/native/core/entry.h"

#include <cassert>
#include <string>
#include <unordered_map>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/delegates/closure.h"

namespace zelmor::embed {

namespace {

const BehaviorTable*& chain() {
    static const BehaviorTable* first = nullptr;  // complete once the library is loaded
    return first;
}

std::string key_of(const char* type, const char* entry) {
    return std::string(type) + '\n' + entry;
}

}  // namespace

BehaviorTable::BehaviorTable(std::initializer_list<BehaviorRow> rows)
    : BehaviorTable(std::span(rows.begin(), rows.size())) {}

BehaviorTable::BehaviorTable(std::span<const BehaviorRow> rows) : m_next(chain()) {
    m_behaviors.reserve(rows.size());
    for (const BehaviorRow& row : rows) {
        m_behaviors.push_back(row.first);
        if (!row.second.names.empty()) {
            m_behaviors.push_back(row.second);
        }
    }
    chain() = this;
}

BehaviorTable::~BehaviorTable() = default;

const BehaviorTable* BehaviorTable::first() {
    return chain();
}

EntryPoint find_behavior(const char* type_full_name, const char* entry_name) {
    // The delegate of a row is made at the first request. All requests hold the interpreter lock, and making a delegate
    // calls no Python code that could release it.
    struct Known {
        const Behavior* behavior;
        const EntryName* name;
        EntryPoint point;
    };
    using Index = std::unordered_map<std::string, Known>;
    // Entries are only added when it is made.
    static Index& index = *new Index([] {
        Index all;
        for (const BehaviorTable* table = BehaviorTable::first(); table != nullptr; table = table->next()) {
            for (const Behavior& behavior : table->behaviors()) {
                for (const EntryName* name : behavior.names) {
                    all.emplace(key_of(name->type.name, name->name), Known{&behavior, name, behavior.point});
                }
            }
        }
        return all;
    }());
    const auto found = index.find(key_of(type_full_name, entry_name));
    if (found == index.end()) {
        return {nullptr, nullptr};
    }
    Known& known = found->second;
    if (known.point.address == nullptr) {
        assert(known.behavior->handler != nullptr && known.behavior->row != nullptr);
        const std::shared_ptr<void> row(const_cast<void*>(known.behavior->row), [](void*) {});  // a row is static
        known.point.address =
            make_delegate(known.point.signature, known.name->type.assembly, known.behavior->handler, row);
    }
    return known.point;
}

namespace detail {

void throw_null_string() {
    throw_argument_null("a text argument");
}

}  // namespace detail

}  // namespace zelmor::embed

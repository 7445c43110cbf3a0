// Expressions of layouts: numbers that follow from the fields around them.
#include <algorithm>
#include <cassert>
#include <cstring>

#include "runtime/native/core/type_system.h"
#include "runtime/native/formats/metafile/record_walk.h"

namespace zelmor::embed::metafile {

namespace {

const RecordPath& path_at(int16_t path) {
    return record_paths()[static_cast<size_t>(path)];
}

// The numbers of hostile files wrap; they are compared with what is there where they are used.
int64_t wrapped(uint64_t number) {
    return static_cast<int64_t>(number);
}

Value inner_property(const ManagedObject& object, const char* first, const char* second) {
    if (!has_property(object, first)) {
        return {};
    }
    const Value& value = property(object, first);
    if (*second == '\0') {
        return value;
    }
    const auto* inner = std::get_if<Ref<ManagedObject>>(&value);
    return inner != nullptr && *inner && has_property(**inner, second) ? property(**inner, second) : Value();
}

int64_t count_of(const Value& value) {
    if (const auto* text = std::get_if<std::u16string>(&value)) {
        return static_cast<int64_t>(text->size());
    }
    if (const auto* bytes = std::get_if<Bytes>(&value)) {
        return static_cast<int64_t>(bytes->size());
    }
    if (const auto* object = std::get_if<Ref<ManagedObject>>(&value); object != nullptr && *object) {
        if (const auto* list = dynamic_cast<const ManagedList*>(object->get())) {
            return static_cast<int64_t>(list->size());
        }
    }
    return 0;
}

int64_t sum_of(const Value& value) {
    int64_t sum = 0;
    if (const auto* object = std::get_if<Ref<ManagedObject>>(&value); object != nullptr && *object) {
        if (const auto* list = dynamic_cast<const ManagedList*>(object->get())) {
            for (size_t i = 0; i < list->size(); ++i) {
                sum += number_of(list->get(i)) & 0xFFFFFFFF;
            }
        }
    }
    return sum;
}

}  // namespace

Value Walk::property_of_path(Frame& frame, int16_t index) const {
    const RecordPath& path = path_at(index);
    if (path.scope != PathScope::kOuter) {
        return inner_property(*frame.object, path.first, path.second);
    }
    if (frame.outer == nullptr) {
        return {};
    }
    Value value = inner_property(*frame.outer->object, path.first, path.second);
    if (frame.index == kNowhere) {
        return value;
    }
    // The outer object has a list with one element for each object like this one.
    if (const auto* object = std::get_if<Ref<ManagedObject>>(&value); object != nullptr && *object) {
        if (const auto* list = dynamic_cast<const ManagedList*>(object->get())) {
            const auto position = static_cast<size_t>(frame.index);
            return position < list->size() ? list->get(position) : Value();
        }
    }
    return value;
}

int64_t Walk::value_of_path(Frame& frame, int16_t index) {
    for (const auto& [path, value] : frame.values) {
        if (path == index) {
            return value;
        }
    }
    const RecordPath& path = path_at(index);
    if (path.scope == PathScope::kLocal) {
        return 0;
    }
    if (path.scope == PathScope::kOuter && frame.outer != nullptr) {
        for (const auto& [other, value] : frame.outer->values) {
            const RecordPath& known = path_at(other);
            if (known.scope == PathScope::kObject && *known.second == '\0' &&
                std::strcmp(known.first, path.first) == 0) {
                return value;
            }
        }
    }
    return number_of(property_of_path(frame, index));
}

int64_t Walk::kind_of(Frame& frame, int16_t path, const RecordItem& item) {
    const int64_t stored = item.path >= 0 ? number_of(property_of_path(frame, item.path)) : 0;
    const Value value = property_of_path(frame, path);
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    const bool none = object == nullptr || !*object;
    const auto all =
        record_items().subspan(static_cast<size_t>(frame.block->first), static_cast<size_t>(frame.block->count));
    const auto with = std::find_if(all.begin(), all.end(),
                                   [&](const RecordItem& each) { return each.path == path && each.is_choice; });
    assert(with != all.end());
    if (none) {
        return stored;  // whether there may be no object is asked where it is written
    }
    const ChoiceRow* first = nullptr;
    for (const ChoiceRow& row : record_choices()[static_cast<size_t>(with->reference)].rows) {
        if (row.block < 0 ||
            std::strcmp(record_blocks()[static_cast<size_t>(row.block)].type, (*object)->type().full_name) != 0) {
            continue;
        }
        if (row.value == stored) {
            return stored;  // several numbers may stand for objects of one class
        }
        first = first == nullptr ? &row : first;
    }
    return first != nullptr ? first->value : stored;
}

bool Walk::is_known_when_writing(int32_t expression) const {
    for (size_t at = static_cast<size_t>(expression); record_steps()[at].code != StepCode::kEnd; ++at) {
        const StepCode code = record_steps()[at].code;
        if (code == StepCode::kRest || code == StepCode::kPeek16 || code == StepCode::kPeek32) {
            return false;
        }
    }
    return true;
}

bool Walk::needs_places(int32_t expression) const {
    for (size_t at = static_cast<size_t>(expression); record_steps()[at].code != StepCode::kEnd; ++at) {
        const StepCode code = record_steps()[at].code;
        if (code == StepCode::kBytes || code == StepCode::kOffset || code == StepCode::kSize ||
            code == StepCode::kMade) {
            return true;
        }
    }
    return false;
}

int64_t Walk::apply(StepCode code, std::vector<int64_t>& stack) {
    const auto pop = [&] {
        assert(!stack.empty());
        const int64_t value = stack.back();
        stack.pop_back();
        return value;
    };
    const int64_t right = pop();
    if (code == StepCode::kNot) {
        return right == 0 ? 1 : 0;
    }
    const int64_t left = pop();
    const auto a = static_cast<uint64_t>(left), b = static_cast<uint64_t>(right);
    switch (code) {
        case StepCode::kAdd:
            return wrapped(a + b);
        case StepCode::kSubtract:
            return wrapped(a - b);
        case StepCode::kMultiply:
            return wrapped(a * b);
        case StepCode::kDivide:
            return right > 0 ? left / right : 0;
        case StepCode::kAnd:
            return wrapped(a & b);
        case StepCode::kOr:
            return wrapped(a | b);
        case StepCode::kShiftLeft:
            return b < 63 ? wrapped(a << b) : 0;
        case StepCode::kShiftRight:
            return b < 63 ? wrapped(a >> b) : 0;
        case StepCode::kEqual:
            return left == right ? 1 : 0;
        case StepCode::kUnequal:
            return left != right ? 1 : 0;
        case StepCode::kLess:
            return left < right ? 1 : 0;
        case StepCode::kGreater:
            return left > right ? 1 : 0;
        case StepCode::kLessOrEqual:
            return left <= right ? 1 : 0;
        case StepCode::kGreaterOrEqual:
            return left >= right ? 1 : 0;
        case StepCode::kMin:
            return std::min(left, right);
        case StepCode::kMax:
            return std::max(left, right);
        case StepCode::kPick:
            return pop() != 0 ? left : right;
        default:
            assert(false);
            return 0;
    }
}

bool Walk::holds(const RecordBlock& block) {
    Frame frame{&block, nullptr, nullptr, kNowhere, 0, nullptr};
    return evaluate(frame, block.condition, record_items().front()) != 0;
}

int64_t Walk::evaluate(Frame& frame, int32_t expression, const RecordItem& item) {
    std::vector<int64_t> stack;
    for (size_t at = static_cast<size_t>(expression);; ++at) {
        const Step& step = record_steps()[at];
        const auto path = static_cast<int16_t>(step.argument);
        const auto peek = [&](size_t width) {
            const auto offset = static_cast<size_t>(stack.back());
            stack.pop_back();
            return !m_writing && offset <= m_data.size() && m_data.size() - offset >= width
                       ? static_cast<int64_t>(read_number(m_data.subspan(offset, width)))
                       : int64_t{0};
        };
        switch (step.code) {
            case StepCode::kEnd:
                assert(stack.size() == 1);
                return stack.back();
            case StepCode::kConstant:
                stack.push_back(step.argument);
                break;
            case StepCode::kValue:
                stack.push_back(value_of_path(frame, path));
                break;
            case StepCode::kCount:
                stack.push_back(count_of(property_of_path(frame, path)));
                break;
            case StepCode::kHas:
                stack.push_back(is_null(property_of_path(frame, path)) ? 0 : 1);
                break;
            case StepCode::kSum:
                stack.push_back(sum_of(property_of_path(frame, path)));
                break;
            case StepCode::kBytes:
            case StepCode::kOffset: {
                int64_t bytes = 0, offset = 0;
                for (auto place = frame.places.rbegin(); place != frame.places.rend(); ++place) {
                    if (place->path == path) {
                        bytes += static_cast<int64_t>(place->end - place->begin);
                        offset = static_cast<int64_t>(place->begin);
                    }
                }
                stack.push_back(step.code == StepCode::kBytes ? bytes : offset);
                break;
            }
            case StepCode::kKind:
                stack.push_back(kind_of(frame, path, item));
                break;
            case StepCode::kMade: {
                const RecordBlock* wanted = &record_blocks()[static_cast<size_t>(step.argument)];
                const auto found =
                    std::find_if(m_made.begin(), m_made.end(), [&](const auto& made) { return made.first == wanted; });
                stack.push_back(found != m_made.end() ? found->second : 0);
                break;
            }
            case StepCode::kSize:
                stack.push_back(static_cast<int64_t>(m_writing ? m_out.size() : m_data.size()));
                break;
            case StepCode::kRest:
                stack.push_back(m_writing ? 0 : static_cast<int64_t>(m_limit - m_at));
                break;
            case StepCode::kHere:
                stack.push_back(static_cast<int64_t>(position()));
                break;
            case StepCode::kNumber: {
                const bool kept = frame.keeper != nullptr && frame.keeper->number >= 0;
                stack.push_back(kept ? frame.keeper->number : frame.block->number);
                break;
            }
            case StepCode::kContinues:
                stack.push_back(frame.keeper != nullptr && frame.keeper->continues ? 1 : 0);
                break;
            case StepCode::kParameter:
                stack.push_back(frame.parameter);
                break;
            case StepCode::kPeek16:
                stack.push_back(peek(2));
                break;
            case StepCode::kPeek32:
                stack.push_back(peek(4));
                break;
            default:
                stack.push_back(apply(step.code, stack));
        }
    }
}

}  // namespace zelmor::embed::metafile

// Values by chance for the items of layouts; see random_records.h.
#include "random_records.h"

#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include "runtime/native/core/values.h"

namespace zelmor::embed::metafile {

namespace {

const RecordPath& path_at(int16_t path) {
    return record_paths()[static_cast<size_t>(path)];
}

// Fields that the file needs to be what they are, by block and property: what kind of header or comment stands there.
std::optional<int64_t> stated(std::string_view block, std::string_view property) {
    static const std::map<std::pair<std::string_view, std::string_view>, int64_t> values = {
        {{"WmfBitmapCoreHeader", "HeaderSize"}, 12},
        {{"WmfBitmapInfoHeader", "HeaderSize"}, 40},
        {{"WmfBitmapInfoHeader", "ColorUsed"}, 0},
        {{"WmfBitmapInfoHeader", "Compression"}, 0},
        {{"WmfBitmapInfoHeader", "BitCount"}, 24},
        {{"WmfBitmapCoreHeader", "BitCount"}, 24},
        {{"WmfEscape", "IEscape"}, 1},
        {{"EmfColorMatchToTargetW", "CbName"}, 0},
        {{"EmfSetIcmProfileA", "CbName"}, 0},
        {{"EmfSetIcmProfileW", "CbName"}, 0},
        {{"EmfGradientFill", "UlMode"}, 1},
        {{"WmfEscapeEnhancedMetafile", "CommentIdentifier"}, 0x43464D57},
        {{"WmfEscapeEnhancedMetafile", "CommentType"}, 1},
        {{"EmfCommentEmfPlus", "CommentIdentifier"}, 0x2B464D45},
        {{"EmfCommentEmfSpool", "CommentIdentifier"}, 0},
        {{"EmfCommentBeginGroup", "CommentIdentifier"}, 0x43494447},
        {{"EmfCommentEndGroup", "CommentIdentifier"}, 0x43494447},
        {{"EmfCommentMultiFormats", "CommentIdentifier"}, 0x43494447},
        {{"EmfCommentWindowsMetaFile", "CommentIdentifier"}, 0x43494447},
        {{"EmfCommentBeginGroup", "PublicCommentIdentifier"}, 2},
        {{"EmfCommentEndGroup", "PublicCommentIdentifier"}, 3},
        {{"EmfCommentMultiFormats", "PublicCommentIdentifier"}, 0x40000004},
        {{"EmfCommentWindowsMetaFile", "PublicCommentIdentifier"}, 0x80000001},
    };
    const auto found = values.find({block, property});
    return found != values.end() ? std::optional(found->second) : std::nullopt;
}

bool has_floats(RecordForm form) {
    return form == RecordForm::kF32 || form == RecordForm::kPointf || form == RecordForm::kRectf ||
           form == RecordForm::kMatrix;
}

}  // namespace

Value RandomRecords::value(RecordForm form, Wire wire) {
    FileBytes bytes;
    if (has_floats(form)) {
        while (bytes.size() < width_of(form)) {
            append_number(bytes, std::bit_cast<uint32_t>(static_cast<float>(number(4096)) / 8 - 256), 4);
        }
    } else {
        for (size_t i = 0; i < width_of(form); ++i) {
            bytes.push_back(static_cast<uint8_t>(m_chance()));
        }
        if (form == RecordForm::kU32 || form == RecordForm::kI32) {
            // Flags and counts are small numbers as a rule.
            bytes[2] = bytes[3] = number(2) != 0 ? 0 : bytes[3];
        }
    }
    return decode_value(form, bytes, wire);
}

size_t RandomRecords::length(const RecordItem& item) {
    return item.fixed ? static_cast<size_t>(record_steps()[static_cast<size_t>(item.count)].argument) : m_length;
}

Value RandomRecords::series(const RecordItem& item, const PropertyInfo& info) {
    const size_t count = length(item);
    if (item.form == RecordForm::kPointr || item.form == RecordForm::kTsrect) {
        std::vector<Value> made;
        for (size_t i = 0; i < count; ++i) {
            const auto small = [&] { return static_cast<int32_t>(number(600)) - 300; };
            made.push_back(item.form == RecordForm::kPointr
                               ? Value(box(PointFValue{static_cast<float>(small()), static_cast<float>(small())}))
                               : Value(box(RectangleValue{small(), small(), small(), small()})));
        }
        return make_list_of(info, made);
    }
    if (item.form == RecordForm::kBytes) {
        Bytes bytes(count);
        for (std::byte& each : bytes) {
            each = static_cast<std::byte>(m_chance());
        }
        return bytes;
    }
    std::u16string text;
    for (size_t i = 0; i < std::min<size_t>(count, 6); ++i) {
        text += static_cast<char16_t>('a' + number(26));
    }
    return text;
}

Value RandomRecords::make_list_of(const PropertyInfo& info, const std::vector<Value>& values) {
    Ref<ManagedList> list = make_list(ListShape::kArray, element_of(info.collection), values.size());
    for (size_t i = 0; i < values.size(); ++i) {
        list->set(i, values[i]);
    }
    return Value(std::move(list));
}

const RecordBlock* RandomRecords::chosen(const RecordItem& item, int depth, int64_t& number_of_row) {
    if (!item.is_choice) {
        return &record_blocks()[static_cast<size_t>(item.reference)];
    }
    const auto rows = record_choices()[static_cast<size_t>(item.reference)].rows;
    for (;;) {
        const ChoiceRow& row = rows[static_cast<size_t>(number(static_cast<int64_t>(rows.size())))];
        const bool deep =
            depth > 3 && row.block >= 0 &&
            std::strcmp(record_blocks()[static_cast<size_t>(row.block)].name, "EmfPlusRegionNodeChildNodes") == 0;
        if (row.block >= 0 && !deep) {
            number_of_row = row.value;
            return &record_blocks()[static_cast<size_t>(row.block)];
        }
    }
}

void RandomRecords::item(const RecordBlock& block, const RecordItem& item, ManagedObject& object, ManagedObject* outer,
                         int depth) {
    if (item.path < 0 || item.kind == ItemKind::kCopied) {
        return;
    }
    const RecordPath& path = path_at(item.path);
    if (path.scope == PathScope::kLocal || (path.scope == PathScope::kOuter && outer == nullptr)) {
        return;
    }
    ManagedObject* target = path.scope == PathScope::kOuter ? outer : &object;
    const char* name = path.first;
    if (*path.second != '\0') {
        target = property_object(*target, path.first).get();
        name = path.second;
    }
    const PropertyInfo* info = target != nullptr ? declared(*target, name) : nullptr;
    if (info == nullptr) {
        throw std::logic_error(std::string(block.name) + " has no property " + name);
    }
    int64_t row = 0;
    switch (item.kind) {
        case ItemKind::kField:
            if (const auto known = stated(block.name, name)) {
                set_property(*target, name, *known);
            } else {
                set_property(*target, name, value(item.form, info->wire));
            }
            return;
        case ItemKind::kBits: {
            const int bits = std::min(item.high - item.low + 1, 16);
            set_property(*target, name, narrowed(number(int64_t{1} << std::min(bits, 12)), info->wire));
            return;
        }
        case ItemKind::kList: {
            std::vector<Value> values;
            for (size_t i = 0; i < length(item); ++i) {
                values.push_back(value(item.form, element_of(info->collection).wire));
            }
            if (std::strcmp(name, "APointsPerPolygon") == 0) {
                values.assign(values.size(), int64_t{1});  // as many points as there are
            }
            set_property(*target, name, make_list_of(*info, values));
            return;
        }
        case ItemKind::kSeries:
            if (info->wire == Wire::kCollection && item.form == RecordForm::kBytes) {
                std::vector<Value> pieces;  // one for each object like this one
                for (size_t i = 0; i < m_length; ++i) {
                    pieces.emplace_back(Bytes(i * 3 + 1, std::byte{7}));
                }
                set_property(*target, name, make_list_of(*info, pieces));
                return;
            }
            set_property(*target, name, series(item, *info));
            return;
        case ItemKind::kObject: {
            const RecordBlock* inner = chosen(item, depth, row);
            if (std::strcmp(block.name, "EmfPlusSerializableObject") == 0 && item.is_choice) {
                set_property(*property_object(object, "ObjectGuid"), "Data1", int64_t{static_cast<int32_t>(row)});
            }
            Ref<ManagedObject> made = make_instance(inner->type);
            set_property(*target, name, Value(made));
            fill(*inner, *made, &object, depth + 1);
            return;
        }
        case ItemKind::kObjects: {
            const size_t count = length(item);
            const size_t own = m_length;
            std::vector<Value> values;
            for (size_t i = 0; i < count; ++i) {
                const RecordBlock* inner = chosen(item, depth, row);
                Ref<ManagedObject> made = make_instance(inner->type);
                fill(*inner, *made, &object, depth + 1);
                if (item.other_count > 0) {
                    set_property(*made, path_at(record_others()[static_cast<size_t>(item.others)]).first, int64_t{1});
                }
                values.emplace_back(std::move(made));
                m_length = own;
            }
            set_property(*target, name, make_list_of(*info, values));
            return;
        }
        default:
            return;
    }
}

void RandomRecords::fill(const RecordBlock& block, ManagedObject& object, ManagedObject* outer, int depth) {
    const size_t around = m_length;
    for (int32_t i = 0; i < block.count; ++i) {
        item(block, record_items()[static_cast<size_t>(block.first + i)], object, outer, depth);
    }
    m_length = around;
}

Ref<ManagedObject> RandomRecords::record(const RecordBlock& block) {
    m_length = static_cast<size_t>(number(5));
    Ref<ManagedObject> made = make_instance(block.type);
    fill(block, *made, nullptr, 0);
    return made;
}

}  // namespace zelmor::embed::metafile

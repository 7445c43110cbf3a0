// Values of metafiles, from bytes and to bytes.
#include "runtime/native/formats/metafile/record_forms.h"

#include <array>
#include <bit>
#include <cassert>
#include <cmath>
#include <cstring>
#include <limits>

#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed::metafile {

namespace {

constexpr uint32_t kOpaque = 0xFF000000;

[[noreturn]] void throw_no_place(const char* what, const std::string& value) {
    throw MetafileError(std::string(what) + ": the file has no place for " + value);
}

// The numbers that a value of the form consists of.
struct Parts {
    size_t count;
    size_t width;
};

Parts parts_of(RecordForm form) {
    switch (form) {
        case RecordForm::kU8:
        case RecordForm::kI8:
        case RecordForm::kBytes:
        case RecordForm::kAnsi:
        case RecordForm::kAnsiz:
            return {1, 1};
        case RecordForm::kU16:
        case RecordForm::kI16:
        case RecordForm::kUtf16:
        case RecordForm::kUtf16z:
            return {1, 2};
        case RecordForm::kU64:
            return {1, 8};
        case RecordForm::kRgbtriple:
            return {3, 1};
        case RecordForm::kPoint32:
        case RecordForm::kSize32:
        case RecordForm::kPointf:
            return {2, 4};
        case RecordForm::kPoint16:
        case RecordForm::kPoint16yx:
        case RecordForm::kPoint16f:
            return {2, 2};
        case RecordForm::kRect32:
        case RecordForm::kRectf:
            return {4, 4};
        case RecordForm::kRect16:
        case RecordForm::kRect16yx:
        case RecordForm::kRect16f:
            return {4, 2};
        case RecordForm::kMatrix:
            return {6, 4};
        case RecordForm::kNone:
        case RecordForm::kPointr:
        case RecordForm::kTsrect:
            return {0, 0};
        default:
            return {1, 4};
    }
}

int32_t signed_part(FileView bytes, size_t index, size_t width) {
    const auto raw = static_cast<uint32_t>(read_number(bytes.subspan(index * width, width)));
    return width == 2 ? static_cast<int16_t>(raw) : static_cast<int32_t>(raw);
}

float float_part(FileView bytes, size_t index) {
    return std::bit_cast<float>(static_cast<uint32_t>(read_number(bytes.subspan(index * 4, 4))));
}

void put_signed(FileBytes& out, int64_t number, size_t width, const char* what) {
    const int64_t limit = width == 2 ? 0x8000 : 0x80000000LL;
    if (number < -limit || number >= limit) {
        throw_no_place(what, std::to_string(number));
    }
    append_number(out, static_cast<uint64_t>(number), width);
}

void put_float(FileBytes& out, double number) {
    append_number(out, std::bit_cast<uint32_t>(static_cast<float>(number)), 4);
}

// A number of a point or rectangle that the file has as a whole one of 16 bits.
void put_whole(FileBytes& out, double number, const char* what) {
    if (!(number >= -32768 && number <= 32767) || number != std::floor(number)) {
        throw_no_place(what, std::to_string(number) + " in whole numbers of 16 bits");
    }
    append_number(out, static_cast<uint64_t>(static_cast<int64_t>(number)), 2);
}

template <StructValue V>
const V& value_in(const Value& value, const char* what) {
    const auto* object = std::get_if<Ref<ManagedObject>>(&value);
    if (object == nullptr || !*object) {
        throw_no_place(what, "None");
    }
    return unbox<V>(**object);
}

RectangleValue rectangle_of(int32_t left, int32_t top, int32_t right, int32_t bottom) {
    const auto distance = [](int32_t from, int32_t to) {
        return static_cast<int32_t>(static_cast<uint32_t>(to) - static_cast<uint32_t>(from));
    };
    return {left, top, distance(left, right), distance(top, bottom)};
}

int32_t far_side(int32_t near_side, int32_t distance) {
    return static_cast<int32_t>(static_cast<uint32_t>(near_side) + static_cast<uint32_t>(distance));
}

Value color_of(RecordForm form, FileView bytes) {
    uint32_t rgb = 0;
    if (form == RecordForm::kColorref || form == RecordForm::kPalentry) {
        rgb = static_cast<uint32_t>(bytes[0] << 16 | bytes[1] << 8 | bytes[2]);
    } else {
        rgb = static_cast<uint32_t>(bytes[2] << 16 | bytes[1] << 8 | bytes[0]);
    }
    return int64_t{static_cast<int32_t>(rgb | kOpaque)};
}

void put_color(RecordForm form, int64_t argb, FileBytes& out) {
    const auto word = static_cast<uint32_t>(argb);
    const auto red = static_cast<uint8_t>(word >> 16), green = static_cast<uint8_t>(word >> 8),
               blue = static_cast<uint8_t>(word);
    if (form == RecordForm::kColorref || form == RecordForm::kPalentry) {
        out.insert(out.end(), {red, green, blue, 0});
    } else {
        out.insert(out.end(), {blue, green, red});
        if (form == RecordForm::kRgbquad) {
            out.push_back(0);
        }
    }
}

bool is_color(RecordForm form) {
    return form == RecordForm::kColorref || form == RecordForm::kRgbquad || form == RecordForm::kRgbtriple ||
           form == RecordForm::kPalentry;
}

}  // namespace

size_t width_of(RecordForm form) {
    const Parts parts = parts_of(form);
    return parts.count * parts.width;
}

uint64_t read_number(FileView bytes) {
    assert(bytes.size() <= 8);
    uint64_t number = 0;
    for (size_t i = bytes.size(); i-- > 0;) {
        number = number << 8 | bytes[i];
    }
    return number;
}

void append_number(FileBytes& out, uint64_t number, size_t width) {
    for (size_t i = 0; i < width; ++i) {
        out.push_back(static_cast<uint8_t>(number >> 8 * i));
    }
}

bool is_number(RecordForm form) {
    return parts_of(form).count == 1 && form != RecordForm::kF32 && !is_color(form);
}

int64_t number_of(const Value& value) {
    if (const auto* number = std::get_if<int64_t>(&value)) {
        return *number;
    }
    if (const auto* truth = std::get_if<bool>(&value)) {
        return *truth ? 1 : 0;
    }
    if (const auto* number = std::get_if<double>(&value)) {
        return std::abs(*number) < 9e18 ? static_cast<int64_t>(*number) : 0;
    }
    return 0;
}

Value narrowed(int64_t number, Wire wire) {
    switch (wire) {
        case Wire::kBool:
            return number != 0;
        case Wire::kInt8:
            return static_cast<int8_t>(number);
        case Wire::kUInt8:
            return int64_t{static_cast<uint8_t>(number)};
        case Wire::kInt16:
            return static_cast<int16_t>(number);
        case Wire::kUInt16:
            return int64_t{static_cast<uint16_t>(number)};
        case Wire::kInt32:
            return static_cast<int32_t>(number);
        case Wire::kUInt32:
            return int64_t{static_cast<uint32_t>(number)};
        case Wire::kSingle:
        case Wire::kDouble:
            return static_cast<double>(number);
        default:
            return number;
    }
}

Value decode_value(RecordForm form, FileView bytes, Wire wire) {
    assert(bytes.size() == width_of(form));
    switch (form) {
        case RecordForm::kI8:
            return narrowed(static_cast<int8_t>(bytes[0]), wire);
        case RecordForm::kI16:
            return narrowed(signed_part(bytes, 0, 2), wire);
        case RecordForm::kI32:
            return narrowed(signed_part(bytes, 0, 4), wire);
        case RecordForm::kF32:
            return double{float_part(bytes, 0)};
        case RecordForm::kColorref:
        case RecordForm::kRgbquad:
        case RecordForm::kRgbtriple:
        case RecordForm::kPalentry:
            return color_of(form, bytes);
        case RecordForm::kPoint32:
            return box(PointValue{signed_part(bytes, 0, 4), signed_part(bytes, 1, 4)});
        case RecordForm::kPoint16:
            return box(PointValue{signed_part(bytes, 0, 2), signed_part(bytes, 1, 2)});
        case RecordForm::kPoint16yx:
            return box(PointValue{signed_part(bytes, 1, 2), signed_part(bytes, 0, 2)});
        case RecordForm::kSize32:
            return box(SizeValue{signed_part(bytes, 0, 4), signed_part(bytes, 1, 4)});
        case RecordForm::kRect32:
        case RecordForm::kRect16: {
            const size_t width = form == RecordForm::kRect32 ? 4 : 2;
            return box(rectangle_of(signed_part(bytes, 0, width), signed_part(bytes, 1, width),
                                    signed_part(bytes, 2, width), signed_part(bytes, 3, width)));
        }
        case RecordForm::kRect16yx:
            return box(rectangle_of(signed_part(bytes, 3, 2), signed_part(bytes, 2, 2), signed_part(bytes, 1, 2),
                                    signed_part(bytes, 0, 2)));
        case RecordForm::kPointf:
            return box(PointFValue{float_part(bytes, 0), float_part(bytes, 1)});
        case RecordForm::kPoint16f:
            return box(PointFValue{static_cast<float>(signed_part(bytes, 0, 2)),
                                   static_cast<float>(signed_part(bytes, 1, 2))});
        case RecordForm::kRectf:
            return box(RectangleFValue{float_part(bytes, 0), float_part(bytes, 1), float_part(bytes, 2),
                                       float_part(bytes, 3)});
        case RecordForm::kRect16f: {
            const auto part = [&](size_t index) { return static_cast<float>(signed_part(bytes, index, 2)); };
            return box(RectangleFValue{part(0), part(1), part(2), part(3)});
        }
        case RecordForm::kMatrix: {
            const auto part = [&](size_t index) { return double{float_part(bytes, index)}; };
            return Value(make_ref<MatrixObject>(Affine{part(0), part(1), part(2), part(3), part(4), part(5)}));
        }
        default:
            return narrowed(static_cast<int64_t>(read_number(bytes)), wire);
    }
}

void encode_value(RecordForm form, const Value& value, const char* what, FileBytes& out) {
    if (is_color(form)) {
        put_color(form, number_of(value), out);
        return;
    }
    switch (form) {
        case RecordForm::kF32: {
            const auto* number = std::get_if<double>(&value);
            put_float(out, number != nullptr ? *number : static_cast<double>(number_of(value)));
            return;
        }
        case RecordForm::kPoint32:
        case RecordForm::kPoint16:
        case RecordForm::kPoint16yx: {
            const auto& point = value_in<PointValue>(value, what);
            const size_t width = form == RecordForm::kPoint32 ? 4 : 2;
            const bool turned = form == RecordForm::kPoint16yx;
            put_signed(out, turned ? point.y : point.x, width, what);
            put_signed(out, turned ? point.x : point.y, width, what);
            return;
        }
        case RecordForm::kSize32: {
            const auto& size = value_in<SizeValue>(value, what);
            put_signed(out, size.width, 4, what);
            put_signed(out, size.height, 4, what);
            return;
        }
        case RecordForm::kRect32:
        case RecordForm::kRect16:
        case RecordForm::kRect16yx: {
            const auto& r = value_in<RectangleValue>(value, what);
            const size_t width = form == RecordForm::kRect32 ? 4 : 2;
            const int32_t right = far_side(r.x, r.width), bottom = far_side(r.y, r.height);
            const bool turned = form == RecordForm::kRect16yx;
            for (const int32_t side :
                 turned ? std::array{bottom, right, r.y, r.x} : std::array{r.x, r.y, right, bottom}) {
                put_signed(out, side, width, what);
            }
            return;
        }
        case RecordForm::kPointf:
        case RecordForm::kPoint16f: {
            const auto& point = value_in<PointFValue>(value, what);
            for (const float number : {point.x, point.y}) {
                form == RecordForm::kPointf ? put_float(out, number) : put_whole(out, number, what);
            }
            return;
        }
        case RecordForm::kRectf:
        case RecordForm::kRect16f: {
            const auto& r = value_in<RectangleFValue>(value, what);
            for (const float number : {r.x, r.y, r.width, r.height}) {
                form == RecordForm::kRectf ? put_float(out, number) : put_whole(out, number, what);
            }
            return;
        }
        case RecordForm::kMatrix: {
            const auto* object = std::get_if<Ref<ManagedObject>>(&value);
            if (object == nullptr || !*object) {
                throw_no_place(what, "None");
            }
            const Affine& map = cast_object<MatrixObject>(**object).map;
            for (const double number : {map.m11, map.m12, map.m21, map.m22, map.dx, map.dy}) {
                put_float(out, number);
            }
            return;
        }
        default:
            break;
    }
    // An integer: a property that is wider than its field may hold more than the field can.
    const int64_t number = number_of(value);
    const size_t width = width_of(form);
    if (width < 4 && (number < -(int64_t{1} << (8 * width - 1)) || number >= int64_t{1} << 8 * width)) {
        throw_no_place(what, std::to_string(number));
    }
    append_number(out, static_cast<uint64_t>(number), width);
}

Value decode_series(RecordForm form, FileView bytes) {
    if (form == RecordForm::kBytes) {
        const auto* data = reinterpret_cast<const std::byte*>(bytes.data());
        return Bytes(data, data + bytes.size());
    }
    const bool wide = form == RecordForm::kUtf16 || form == RecordForm::kUtf16z;
    const bool ends = form == RecordForm::kUtf16z || form == RecordForm::kAnsiz;
    std::u16string text;
    for (size_t i = 0; i + (wide ? 2 : 1) <= bytes.size(); i += wide ? 2 : 1) {
        const auto c = static_cast<char16_t>(wide ? bytes[i] | bytes[i + 1] << 8 : bytes[i]);
        if (c == 0 && ends) {
            break;
        }
        text += c;
    }
    return text;
}

FileBytes encode_series(RecordForm form, const Value& value, bool fixed, size_t units, const char* what) {
    FileBytes out;
    if (form == RecordForm::kBytes) {
        if (const auto* data = std::get_if<Bytes>(&value)) {
            const auto* first = reinterpret_cast<const uint8_t*>(data->data());
            out.assign(first, first + data->size());
        }
        if (fixed && !out.empty() && out.size() != units) {
            throw_no_place(what, std::to_string(out.size()) + " bytes, but for " + std::to_string(units));
        }
        out.resize(fixed ? units : out.size());
        return out;
    }
    const bool wide = form == RecordForm::kUtf16 || form == RecordForm::kUtf16z;
    if (const auto* text = std::get_if<std::u16string>(&value)) {
        for (const char16_t c : *text) {
            if (!wide && c > 0xFF) {
                throw_no_place(what, "a character of more than one byte");
            }
            append_number(out, c, wide ? 2 : 1);
        }
    }
    const size_t room = units * width_of(form);
    if (fixed && out.size() > room) {
        throw_no_place(what, "more than " + std::to_string(units) + " characters");
    }
    if (fixed) {
        out.resize(room);
    } else if (form == RecordForm::kUtf16z || form == RecordForm::kAnsiz) {
        out.resize(out.size() + width_of(form));
    }
    return out;
}

namespace {

// The numbers of relative points: seven bits with a sign in one byte, or fifteen in two with the highest bit set.
class RelativeReader {
 public:
    RelativeReader(FileView bytes, bool long_is_marked) : m_bytes(bytes), m_long_is_marked(long_is_marked) {}

    int32_t next() {
        const uint8_t first = byte();
        if ((first >> 7 != 0) != m_long_is_marked) {
            return static_cast<int8_t>(first << 1) >> 1;
        }
        const auto both = static_cast<uint16_t>((first & 0x7F) << 8 | byte());
        return static_cast<int16_t>(both << 1) >> 1;
    }
    size_t used() const { return m_at; }

 private:
    uint8_t byte() {
        if (m_at == m_bytes.size()) {
            throw MetafileError("a list of relative points ends too early");
        }
        return m_bytes[m_at++];
    }

    FileView m_bytes;
    size_t m_at = 0;
    bool m_long_is_marked;
};

void put_relative(FileBytes& out, int64_t number, bool long_is_marked, const char* what) {
    if (number >= -64 && number < 64) {
        out.push_back(static_cast<uint8_t>((number & 0x7F) | (long_is_marked ? 0 : 0x80)));
        return;
    }
    if (number < -0x4000 || number >= 0x4000) {
        throw_no_place(what, "a distance of " + std::to_string(number));
    }
    out.push_back(static_cast<uint8_t>((number >> 8 & 0x7F) | (long_is_marked ? 0x80 : 0)));
    out.push_back(static_cast<uint8_t>(number));
}

int64_t whole(double number, const char* what) {
    if (!(std::abs(number) < 1e9) || number != std::floor(number)) {
        throw_no_place(what, std::to_string(number) + " in whole numbers");
    }
    return static_cast<int64_t>(number);
}

}  // namespace

std::vector<Value> decode_relative(RecordForm form, FileView bytes, size_t count, size_t& used) {
    const bool points = form == RecordForm::kPointr;
    RelativeReader reader(bytes, points);
    std::vector<Value> values;
    int64_t x = 0, y = 0, right = 0;
    for (size_t i = 0; i < count; ++i) {
        x += reader.next();
        y += reader.next();
        if (points) {
            values.emplace_back(box(PointFValue{static_cast<float>(x), static_cast<float>(y)}));
            continue;
        }
        right += reader.next();
        const int64_t height = reader.next();
        values.emplace_back(box(RectangleValue{static_cast<int32_t>(x), static_cast<int32_t>(y),
                                               static_cast<int32_t>(right - x), static_cast<int32_t>(height)}));
    }
    used = reader.used();
    return values;
}

FileBytes encode_relative(RecordForm form, const std::vector<Value>& values, const char* what) {
    const bool points = form == RecordForm::kPointr;
    FileBytes out;
    int64_t x = 0, y = 0, right = 0;
    const auto step = [&](int64_t& from, int64_t to) {
        put_relative(out, to - from, points, what);
        from = to;
    };
    for (const Value& value : values) {
        if (points) {
            const auto& point = value_in<PointFValue>(value, what);
            step(x, whole(point.x, what));
            step(y, whole(point.y, what));
            continue;
        }
        const auto& r = value_in<RectangleValue>(value, what);
        step(x, r.x);
        step(y, r.y);
        step(right, int64_t{r.x} + r.width);
        put_relative(out, r.height, points, what);
    }
    return out;
}

}  // namespace zelmor::embed::metafile

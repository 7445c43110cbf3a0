// Properties through the C interface: values of every kind that properties have, for each class that keeps what it is
// given.
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include "host.h"
#include "runtime/native/catalogue/tables.h"

namespace zelmor::embed::test {
namespace {

// A value and the kind in which it comes back.
struct Sample {
    Given given;
    int32_t kind;
};

template <class T>
std::vector<Sample> bounds() {
    std::vector<Sample> samples;
    for (const T value : {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), T{0}, T{1}, T{101}}) {
        samples.push_back(std::is_same_v<T, uint64_t>
                              ? Sample{unsigned_integer(value), ZELMOR_PICTURES_UNSIGNED}
                              : Sample{integer(static_cast<int64_t>(value)), ZELMOR_PICTURES_INTEGER});
    }
    return samples;
}

std::vector<Sample> scalar_samples(Wire wire) {
    switch (wire) {
        case Wire::kBool:
            return {{boolean(true), ZELMOR_PICTURES_BOOL}, {boolean(false), ZELMOR_PICTURES_BOOL}};
        case Wire::kInt8:
            return bounds<int8_t>();
        case Wire::kUInt8:
            return bounds<uint8_t>();
        case Wire::kInt16:
            return bounds<int16_t>();
        case Wire::kUInt16:
            return bounds<uint16_t>();
        case Wire::kInt32:
            return bounds<int32_t>();
        case Wire::kUInt32:
            return bounds<uint32_t>();
        case Wire::kInt64:
            return bounds<int64_t>();
        case Wire::kUInt64:
            return bounds<uint64_t>();
        case Wire::kSingle:
            return {{real(-0.1f), ZELMOR_PICTURES_REAL},
                    {real(std::numeric_limits<float>::max()), ZELMOR_PICTURES_REAL}};
        case Wire::kDouble:
            return {{real(0.1), ZELMOR_PICTURES_REAL}, {real(-1e300), ZELMOR_PICTURES_REAL}};
        case Wire::kTimeSpan: {
            const Given span = {ZELMOR_PICTURES_TIME_SPAN, 0, 35'990'000'000, nullptr, 0};
            return {{span, ZELMOR_PICTURES_TIME_SPAN}};
        }
        default:
            return {};
    }
}

class MembersTest : public CApiTest {
 protected:
    // Calls `use` with an object of each class, and each of its own properties that can be written.
    template <class F>
    static void each_property(F&& use) {
        for (const TypeInfo& type : types()) {
            if (type.kind != TypeKind::kClass || std::string_view(type.assembly) != "WrpInterop.Zelmor.Imaging") {
                continue;
            }
            Given made = {};
            if (zelmor_pictures_make(type.full_name, nullptr, 0, &made) == 0) {
                const Held held(made);
                for (const PropertyInfo& property : type.properties) {
                    if (!property.is_static && property.writable) {
                        use(type, property, held);
                    }
                }
            }
        }
    }
    // Whether the property takes the value. One that does not says why.
    static bool takes(const TypeInfo& type, const PropertyInfo& property, const Held& self, Given value) {
        const auto* setter = entry_of(type.full_name, (std::string("set_") + property.name).c_str());
        Given result = integer(1);
        if (zelmor_pictures_call(setter, self.get(), &value, 1, &result) != 0) {
            EXPECT_FALSE(last_failure().name.empty());
            return false;
        }
        EXPECT_EQ(result.kind, ZELMOR_PICTURES_NULL) << type.full_name << "." << property.name;
        return true;
    }
    static Given got(const TypeInfo& type, const PropertyInfo& property, const Held& self) {
        const auto* getter = entry_of(type.full_name, (std::string("get_") + property.name).c_str());
        Given result = {};
        EXPECT_EQ(zelmor_pictures_call(getter, self.get(), nullptr, 0, &result), 0)
            << type.full_name << "." << property.name << ": " << last_failure();
        return result;
    }
};

TEST_F(MembersTest, NumbersComeBackAsTheyWereGivenToTheLastBit) {
    std::map<Wire, int> seen;
    each_property([&](const TypeInfo& type, const PropertyInfo& property, const Held& self) {
        for (const auto& [given, kind] : scalar_samples(property.wire)) {
            if (takes(type, property, self, given)) {
                const Given result = got(type, property, self);
                EXPECT_EQ(result.kind, kind) << type.full_name << "." << property.name;
                EXPECT_EQ(result.word, given.word) << type.full_name << "." << property.name;
                ++seen[property.wire];
            }
        }
    });
    const std::map<Wire, int> least = {{Wire::kBool, 100},   {Wire::kUInt8, 400},  {Wire::kInt16, 400},
                                       {Wire::kUInt16, 400}, {Wire::kInt32, 2000}, {Wire::kUInt32, 1000},
                                       {Wire::kInt64, 5},    {Wire::kUInt64, 5},   {Wire::kSingle, 200},
                                       {Wire::kDouble, 50},  {Wire::kTimeSpan, 1}};
    for (const auto& [wire, count] : least) {
        EXPECT_GE(seen[wire], count) << static_cast<int>(wire);
    }
}

TEST_F(MembersTest, TextsAndBytesComeBackWhole) {
    const std::u16string long_text(3000, u'\u00e4');
    Blob long_bytes(3000);
    for (size_t i = 0; i < long_bytes.size(); ++i) {
        long_bytes[i] = static_cast<uint8_t>(i * 7);
    }
    int texts = 0, blobs = 0;
    each_property([&](const TypeInfo& type, const PropertyInfo& property, const Held& self) {
        if (property.wire == Wire::kString) {
            for (const std::u16string& sample :
                 {std::u16string(u"na\u00efve \U0001F98B"), std::u16string(), long_text}) {
                if (takes(type, property, self, text(sample))) {
                    const Given result = got(type, property, self);
                    if (result.kind == ZELMOR_PICTURES_TEXT) {
                        EXPECT_EQ(text_of(result), sample) << type.full_name << "." << property.name;
                        ++texts;
                    } else {
                        EXPECT_TRUE(sample.empty()) << type.full_name << "." << property.name;
                    }
                }
            }
            if (takes(type, property, self, null())) {
                const Given result = got(type, property, self);
                EXPECT_TRUE(result.kind == ZELMOR_PICTURES_NULL || text_of(result).empty());
            }
        } else if (property.wire == Wire::kBytes) {
            for (const Blob& sample : {Blob{1, 0, 255, 128}, Blob{}, long_bytes}) {
                if (takes(type, property, self, bytes(sample))) {
                    const Given result = got(type, property, self);
                    ASSERT_EQ(result.kind, ZELMOR_PICTURES_BYTES) << type.full_name << "." << property.name;
                    EXPECT_EQ(host().bytes.at(result.word), sample) << type.full_name << "." << property.name;
                    ++blobs;
                }
            }
            if (takes(type, property, self, null())) {
                EXPECT_EQ(got(type, property, self).kind, ZELMOR_PICTURES_NULL);
            }
        }
    });
    EXPECT_GE(texts, 300);
    EXPECT_GE(blobs, 60);
    // The caller owns what it was given.
    EXPECT_TRUE(host().freed_bytes.empty());
}

struct StructSample {
    int32_t which;
    size_t size;
};

TEST_F(MembersTest, StructuresCrossAsTheirFields) {
    const std::map<std::string_view, StructSample> known = {
        {"Zelmor.Imaging.Size", {ZELMOR_PICTURES_SIZE, 8}},
        {"Zelmor.Imaging.SizeF", {ZELMOR_PICTURES_SIZE_F, 8}},
        {"Zelmor.Imaging.Point", {ZELMOR_PICTURES_POINT, 8}},
        {"Zelmor.Imaging.PointF", {ZELMOR_PICTURES_POINT_F, 8}},
        {"Zelmor.Imaging.Rectangle", {ZELMOR_PICTURES_RECTANGLE, 16}},
        {"Zelmor.Imaging.RectangleF", {ZELMOR_PICTURES_RECTANGLE_F, 16}},
        {"Zelmor.Imaging.CmykColor", {ZELMOR_PICTURES_CMYK, 4}},
    };
    const int32_t whole[] = {7, 8, 90, 101};
    const float parts[] = {0.5f, 1.25f, 30, 41};
    std::map<int32_t, int> seen;
    each_property([&](const TypeInfo& type, const PropertyInfo& property, const Held& self) {
        if (property.wire != Wire::kStruct) {
            return;
        }
        const std::string_view name = types()[static_cast<size_t>(property.type)].full_name;
        if (name == "Zelmor.Imaging.Color") {
            const zelmor_pictures_color color = {0x80112233, 0, 2, nullptr, 0};
            if (takes(type, property, self, fields(ZELMOR_PICTURES_COLOR, color))) {
                const Given result = got(type, property, self);
                EXPECT_EQ(result.kind, ZELMOR_PICTURES_STRUCT);
                EXPECT_EQ(result.detail, ZELMOR_PICTURES_COLOR);
                const auto* back = static_cast<const zelmor_pictures_color*>(result.data);
                EXPECT_EQ(back->argb, color.argb) << type.full_name << "." << property.name;
                EXPECT_EQ(back->state, 2);
                ++seen[ZELMOR_PICTURES_COLOR];
            }
            return;
        }
        const auto found = known.find(name);
        if (found == known.end()) {
            return;
        }
        const StructSample& sample = found->second;
        const void* data = name.ends_with('F') ? static_cast<const void*>(parts) : static_cast<const void*>(whole);
        if (takes(type, property, self, {ZELMOR_PICTURES_STRUCT, sample.which, 0, data, 0})) {
            const Given result = got(type, property, self);
            EXPECT_EQ(result.kind, ZELMOR_PICTURES_STRUCT);
            ASSERT_EQ(result.detail, sample.which) << type.full_name << "." << property.name;
            EXPECT_EQ(std::memcmp(result.data, data, sample.size), 0) << type.full_name << "." << property.name;
            ++seen[sample.which];
        }
    });
    for (const auto& [which, least] : std::map<int32_t, int>{{ZELMOR_PICTURES_SIZE, 3},
                                                             {ZELMOR_PICTURES_POINT, 10},
                                                             {ZELMOR_PICTURES_POINT_F, 10},
                                                             {ZELMOR_PICTURES_RECTANGLE, 20},
                                                             {ZELMOR_PICTURES_RECTANGLE_F, 5},
                                                             {ZELMOR_PICTURES_COLOR, 25}}) {
        EXPECT_GE(seen[which], least) << which;
    }
}

template <class T>
Blob raw(const std::vector<T>& values) {
    Blob out(values.size() * sizeof(T));
    std::memcpy(out.data(), values.data(), out.size());
    return out;
}

// The bytes of three numbers, and how they are given.
struct NumberSample {
    Given given;
    Blob data;
};
template <class T>
std::vector<NumberSample> number_samples() {
    static const std::vector<T> kThree = {std::numeric_limits<T>::lowest(), std::numeric_limits<T>::max(), T{42}};
    static const std::vector<T> kNone;
    return {{numbers(kThree), raw(kThree)}, {numbers(kNone), {}}};
}
std::vector<NumberSample> samples_of(Wire element) {
    switch (element) {
        case Wire::kInt8:
            return number_samples<int8_t>();
        case Wire::kUInt8:
            return number_samples<uint8_t>();
        case Wire::kInt16:
            return number_samples<int16_t>();
        case Wire::kUInt16:
            return number_samples<uint16_t>();
        case Wire::kInt32:
            return number_samples<int32_t>();
        case Wire::kUInt32:
            return number_samples<uint32_t>();
        case Wire::kInt64:
            return number_samples<int64_t>();
        case Wire::kUInt64:
            return number_samples<uint64_t>();
        case Wire::kSingle:
            return number_samples<float>();
        case Wire::kDouble:
            return number_samples<double>();
        default:
            return {};
    }
}

TEST_F(MembersTest, ArraysOfNumbersKeepTheirBytes) {
    std::map<Wire, int> seen;
    each_property([&](const TypeInfo& type, const PropertyInfo& property, const Held& self) {
        if (property.wire != Wire::kCollection || property.collection.shape != CollectionShape::kArray) {
            return;
        }
        Wire wire = Wire::kVoid;
        for (const ElementType& element : elements()) {
            if (std::string_view(element.id) == property.collection.element && element.type_index == kNoType) {
                wire = element.wire;
            }
        }
        for (const auto& [given, data] : samples_of(wire)) {
            if (takes(type, property, self, given)) {
                const Given result = got(type, property, self);
                if (result.kind == ZELMOR_PICTURES_NULL) {
                    continue;  // no numbers may be no array
                }
                const Held list(result);
                EXPECT_EQ(result.detail, 1);
                Given all = {};
                ASSERT_EQ(zelmor_pictures_elements(list.get(), &all), 0) << last_failure();
                const int32_t width = given.detail >> 8 & 0xFF;
                EXPECT_EQ(all.detail, ZELMOR_PICTURES_ARRAY | width << 8) << type.full_name << "." << property.name;
                EXPECT_EQ(all.length, given.length);
                if (given.length > 0) {
                    ASSERT_EQ(all.kind, ZELMOR_PICTURES_NUMBERS);
                    EXPECT_EQ(std::memcmp(all.data, data.data(), data.size()), 0)
                        << type.full_name << "." << property.name;
                    ++seen[wire];
                }
            }
        }
    });
    for (const auto& [wire, least] : std::map<Wire, int>{
             {Wire::kUInt16, 5}, {Wire::kInt32, 5}, {Wire::kUInt32, 3}, {Wire::kDouble, 1}, {Wire::kUInt64, 1}}) {
        EXPECT_GE(seen[wire], least) << static_cast<int>(wire);
    }
}

}  // namespace
}  // namespace zelmor::embed::test

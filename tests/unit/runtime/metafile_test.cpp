// Records of metafiles: each class from bytes and to bytes, files as they are and changed, and damaged ones.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include "random_records.h"
#include "runtime/native/core/values.h"
#include "runtime/native/formats/metafile/metafile_file.h"

namespace zelmor::embed::metafile {
namespace {

void put(FileBytes& out, uint64_t number, size_t width) {
    append_number(out, number, width);
}

FileBytes emf_record(uint32_t type, std::initializer_list<uint32_t> words) {
    FileBytes out;
    put(out, type, 4);
    put(out, 8 + 4 * words.size(), 4);
    for (const uint32_t word : words) {
        put(out, word, 4);
    }
    return out;
}

FileBytes joined(std::initializer_list<FileBytes> parts) {
    FileBytes out;
    for (const FileBytes& part : parts) {
        out.insert(out.end(), part.begin(), part.end());
    }
    return out;
}

// A file of a header, these records and the end.
FileBytes emf_file(const FileBytes& records, uint32_t count, uint32_t handles = 1) {
    const FileBytes end = emf_record(14, {0, 16, 20});
    const auto size = static_cast<uint32_t>(88 + records.size() + end.size());
    const FileBytes header = emf_record(
        1, {0, 0, 9, 9, 0, 0, 100, 100, 0x464D4520, 0x10000, size, count + 2, handles, 0, 0, 0, 1024, 768, 320, 240});
    return joined({header, records, end});
}

FileBytes wmf_record(uint16_t function, std::initializer_list<uint16_t> words) {
    FileBytes out;
    put(out, 3 + words.size(), 4);
    put(out, function, 2);
    for (const uint16_t word : words) {
        put(out, word, 2);
    }
    return out;
}

FileBytes wmf_file(const FileBytes& records) {
    FileBytes out;
    const FileBytes end = wmf_record(0, {});
    for (const uint16_t word : {1, 9, 0x300}) {
        put(out, word, 2);
    }
    put(out, (18 + records.size() + end.size()) / 2, 4);
    put(out, 0, 2);
    put(out, 5, 4);
    put(out, 0, 2);
    return joined({out, records, end});
}

Ref<ManagedObject> read_one(RecordFamily family, const FileBytes& bytes) {
    ContinuedObject continued;
    return read_record(family, bytes, continued);
}

const char* class_of(const ManagedObject& object) {
    return object.type().name;
}

// -- every class ------------------------------------------------------------------------------------------------------

// Whether all values that the layout always has are the same in both objects.
void expect_same_values(const RecordBlock& block, const ManagedObject& a, const ManagedObject& b) {
    for (int32_t i = 0; i < block.count; ++i) {
        const RecordItem& item = record_items()[static_cast<size_t>(block.first + i)];
        if (item.path < 0 || item.condition >= 0 || item.present >= 0 || item.derived >= 0 || item.at >= 0) {
            continue;
        }
        const RecordPath& path = record_paths()[static_cast<size_t>(item.path)];
        if (path.scope != PathScope::kObject || *path.second != '\0') {
            continue;
        }
        const bool is_flags = std::strcmp(path.first, "Flags") == 0;  // some bits are properties of their own
        if (item.kind == ItemKind::kField && !is_flags && width_of(item.form) <= 8 && is_number(item.form)) {
            EXPECT_TRUE(values_equal(property(a, path.first), property(b, path.first)))
                << block.name << "." << path.first;
        }
        if (item.kind == ItemKind::kList) {
            const auto list_a = property_object(a, path.first), list_b = property_object(b, path.first);
            ASSERT_TRUE(list_a && list_b) << block.name << "." << path.first;
            const auto& one = static_cast<const ManagedList&>(*list_a);
            const auto& two = static_cast<const ManagedList&>(*list_b);
            ASSERT_EQ(one.size(), two.size()) << block.name << "." << path.first;
            for (size_t each = 0; each < one.size(); ++each) {
                EXPECT_TRUE(values_equal(one.get(each), two.get(each))) << block.name << "." << path.first;
            }
        }
        if (item.kind == ItemKind::kObject && !item.is_choice) {
            const auto object_a = property_object(a, path.first), object_b = property_object(b, path.first);
            ASSERT_TRUE(object_a && object_b) << block.name << "." << path.first;
            expect_same_values(record_blocks()[static_cast<size_t>(item.reference)], *object_a, *object_b);
        }
    }
}

TEST(MetafileRecords, EveryClassIsWrittenAndReadAgain) {
    constexpr int kWanted = 6, kTries = 400;
    for (const RecordBlock& block : record_blocks()) {
        if (block.kind != BlockKind::kRecord) {
            continue;
        }
        SCOPED_TRACE(block.name);
        int done = 0;
        std::string refusal;
        for (int seed = 0; done < kWanted && seed < kTries; ++seed) {
            const Ref<ManagedObject> made = RandomRecords(static_cast<uint32_t>(seed)).record(block);
            FileBytes bytes;
            try {
                bytes = write_record(*made);
            } catch (const MetafileError& error) {
                refusal = error.what();  // values that contradict each other
                continue;
            }
            ++done;
            Ref<ManagedObject> read;
            try {
                read = read_one(block.family, bytes);
            } catch (const MetafileError& error) {
                ADD_FAILURE() << "seed " << seed << ": " << error.what();
                continue;
            }
            EXPECT_STREQ(class_of(*read), class_of(*made)) << "seed " << seed;
            EXPECT_TRUE(static_cast<const MetafileObject&>(*read).source.empty()) << "seed " << seed;
            EXPECT_EQ(write_record(*read), bytes) << "seed " << seed;
            expect_same_values(block, *made, *read);
        }
        EXPECT_EQ(done, kWanted) << refusal;
    }
}

TEST(MetafileRecords, TruncatedRecordsAreReadOrRefused) {
    int refused = 0;
    for (const RecordBlock& block : record_blocks()) {
        if (block.kind != BlockKind::kRecord) {
            continue;
        }
        for (uint32_t seed = 0; seed < 3; ++seed) {
            FileBytes bytes;
            try {
                bytes = write_record(*RandomRecords(seed).record(block));
            } catch (const MetafileError&) {
                continue;
            }
            for (size_t size = 12; size < bytes.size(); size += 1 + bytes.size() / 40) {
                const FileBytes part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
                try {
                    EXPECT_EQ(write_record(*read_one(block.family, part)), part) << block.name;
                } catch (const MetafileError&) {
                    ++refused;
                }
            }
        }
    }
    EXPECT_GT(refused, 100);
}

TEST(MetafileRecords, AlteredRecordsAreReadOrRefused) {
    std::mt19937 chance(7);
    for (const RecordBlock& block : record_blocks()) {
        if (block.kind != BlockKind::kRecord) {
            continue;
        }
        for (uint32_t seed = 0; seed < 20; ++seed) {
            try {
                FileBytes bytes = write_record(*RandomRecords(seed).record(block));
                const size_t least = block.family == RecordFamily::kWmf ? 6 : 8;
                for (int i = 0; i < 3 && bytes.size() > least; ++i) {
                    bytes[least + chance() % (bytes.size() - least)] = static_cast<uint8_t>(chance() % 2 * 255);
                }
                EXPECT_EQ(write_record(*read_one(block.family, bytes)), bytes) << block.name << " " << seed;
            } catch (const MetafileError&) {
                continue;
            }
        }
    }
}

// -- files ------------------------------------------------------------------------------------------------------------

TEST(EmfFiles, AreWrittenBackAsTheyWere) {
    const FileBytes bytes = joined(
        {emf_file(joined({emf_record(43, {1, 2, 30, 40}), emf_record(117, {5, 6}), emf_record(25, {0x01332211})}), 3),
         FileBytes{1, 2, 3}});
    const EmfFile file = read_emf(bytes);
    ASSERT_EQ(file.records.size(), 5U);
    EXPECT_STREQ(class_of(*file.records[0]), "EmfMetafileHeader");
    EXPECT_STREQ(class_of(*file.records[1]), "EmfRectangle");
    EXPECT_STREQ(class_of(*file.records[2]), "EmfRecord");
    EXPECT_EQ(property_int(*file.records[2], "Type"), 117);
    EXPECT_EQ(unbox<RectangleValue>(*property_object(*file.records[1], "Box")), (RectangleValue{1, 2, 29, 38}));
    EXPECT_EQ(property_int(*file.records[3], "Argb32Color"), static_cast<int32_t>(0xFF112233));
    EXPECT_STREQ(class_of(*file.records[4]), "EmfEof");
    EXPECT_EQ(write_emf(file), bytes);
}

TEST(EmfFiles, AChangedPropertyChangesItsBytesOnly) {
    const FileBytes bytes = emf_file(emf_record(25, {0x01332211}), 1);
    EmfFile file = read_emf(bytes);
    set_property(*file.records[1], "Argb32Color", int64_t{static_cast<int32_t>(0xFF445566)});
    FileBytes expected = bytes;
    const FileBytes color = {0x44, 0x55, 0x66, 0};
    std::copy(color.begin(), color.end(), expected.begin() + 88 + 8);
    EXPECT_EQ(write_emf(file), expected);
}

TEST(EmfFiles, SizesAndCountsFollow) {
    const FileBytes bytes = emf_file(emf_record(4, {0, 0, 9, 9, 1, 7, 8}), 1, 40);
    EmfFile file = read_emf(bytes);
    const auto& list = static_cast<ManagedList&>(*property_object(*file.records[1], "APoints"));
    Ref<ManagedList> longer = make_list(ListShape::kArray, list.element(), 3);
    for (size_t i = 0; i < 3; ++i) {
        longer->set(i, Value(box(PointValue{static_cast<int32_t>(i), -1})));
    }
    set_property(*file.records[1], "APoints", Value(longer));
    const FileBytes now = write_emf(file);
    EXPECT_EQ(now, emf_file(emf_record(4, {0, 0, 9, 9, 3, 0, UINT32_MAX, 1, UINT32_MAX, 2, UINT32_MAX}), 1, 1));
}

TEST(EmfFiles, OffsetsOfAnUnusualRecordStay) {
    // The pixels stand before the header, behind a gap.
    FileBytes record = emf_record(
        81, {0, 0, 1, 1, 0, 0, 0, 0, 1, 1, 92, 40, 84, 4, 0, 0x00CC0020, 1, 1, 0xDDDDDDDD, 0x11223344, 0x55555555});
    for (const uint32_t word : {40U, 1U, 1U, 0x200001U, 0U, 0U, 0U, 0U, 0U, 0U}) {
        put(record, word, 4);
    }
    record.resize(132);
    record[4] = 132;
    const Ref<ManagedObject> object = read_one(RecordFamily::kEmf, record);
    EXPECT_EQ(write_record(*object), record);
    set_property(*object, "CxDest", int64_t{77});
    FileBytes expected = record;
    expected[8 + 16 * 4] = 77;
    EXPECT_EQ(write_record(*object), expected);
}

TEST(EmfFiles, ClaimsAreChecked) {
    const FileBytes good = emf_file(emf_record(4, {0, 0, 9, 9, 1, 7, 8}), 1);
    for (size_t size = 0; size < good.size(); ++size) {
        const FileBytes part(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_THROW(read_emf(part), MetafileError) << size;
    }
    FileBytes many = good;
    many[88 + 24 + 3] = 0x7F;  // the count of points
    try {
        read_emf(many);
        FAIL();
    } catch (const MetafileError& error) {
        EXPECT_STREQ(error.what(), "Record 2: EmfPolyline.APoints has 2130706433 elements, but there are 8 bytes");
    }
    FileBytes endless = good;
    std::fill_n(endless.begin() + 88 + 4, 4, uint8_t{0});
    EXPECT_THROW(read_emf(endless), MetafileError);
}

TEST(EmfFiles, FieldsThatShareBytesAreLimited) {
    // A comment with many formats, each of which claims all of the record.
    constexpr uint32_t kFormats = 200, kSize = 40 + 16 * kFormats;
    FileBytes record;
    for (const uint32_t word : {70U, kSize, kSize - 12, 0x43494447U, 0x40000004U, 0U, 0U, 1U, 1U, kFormats}) {
        put(record, word, 4);
    }
    for (uint32_t i = 0; i < kFormats; ++i) {
        for (const uint32_t word : {0x464D4520U, 1U, kSize - 12, 0U}) {
            put(record, word, 4);
        }
    }
    EXPECT_THROW(read_one(RecordFamily::kEmf, record), MetafileError);
}

FileBytes plus_record(uint16_t type, uint16_t flags, const FileBytes& data) {
    FileBytes out;
    put(out, type, 2);
    put(out, flags, 2);
    put(out, 12 + data.size(), 4);
    put(out, data.size(), 4);
    return joined({out, data});
}

FileBytes plus_comment(const FileBytes& records) {
    FileBytes out;
    put(out, 70, 4);
    put(out, 16 + records.size(), 4);
    put(out, 4 + records.size(), 4);
    put(out, 0x2B464D45, 4);
    return joined({out, records});
}

FileBytes words(std::initializer_list<uint32_t> numbers) {
    FileBytes out;
    for (const uint32_t number : numbers) {
        put(out, number, 4);
    }
    return out;
}

TEST(EmfPlus, RecordsStandInComments) {
    const FileBytes bytes =
        emf_file(plus_comment(joined({plus_record(0x4001, 1, words({0xDBC01002, 1, 96, 120})),
                                      plus_record(0x400E, 0x8000, words({0xFF102030, 0, 0, 0x41200000, 0x41200000})),
                                      plus_record(0x4037, 7, words({9}))})),
                 1);
    const EmfFile file = read_emf(bytes);
    ASSERT_STREQ(class_of(*file.records[1]), "EmfCommentEmfPlus");
    const auto& records = static_cast<ManagedList&>(*property_object(*file.records[1], "Records"));
    ASSERT_EQ(records.size(), 3U);
    const auto at = [&](size_t i) { return std::get<Ref<ManagedObject>>(records.get(i)); };
    EXPECT_STREQ(class_of(*at(0)), "EmfPlusHeader");
    EXPECT_TRUE(property_bool(*at(0), "IsDual"));
    EXPECT_EQ(property_int(*property_object(*at(0), "Version"), "GraphicsVersion"), 2);
    EXPECT_EQ(property_int(*property_object(*at(0), "Version"), "MetafileSignature"), 0xDBC01);
    EXPECT_STREQ(class_of(*at(1)), "EmfPlusFillEllipse");
    EXPECT_TRUE(property_bool(*at(1), "IsColor"));
    EXPECT_STREQ(class_of(*at(2)), "EmfPlusRecord");
    EXPECT_EQ(write_emf(file), bytes);
    set_property(*at(1), "BrushId", int64_t{5});
    FileBytes expected = bytes;
    put(expected, 0, 0);
    std::copy_n(words({5}).begin(), 4, expected.begin() + 88 + 16 + 28 + 12);
    EXPECT_EQ(write_emf(file), expected);
}

TEST(EmfPlus, AnObjectIsContinuedOverComments) {
    // A solid brush in two parts, in two comments.
    const FileBytes first = plus_record(0x4008, 0x8103, words({12, 0xDBC01002}));
    const FileBytes second = plus_record(0x4008, 0x0103, words({0, 0xFF010203}));
    const FileBytes bytes = emf_file(joined({plus_comment(first), plus_comment(second)}), 2);
    const EmfFile file = read_emf(bytes);
    const auto record_of = [&](size_t i) {
        const auto& list = static_cast<ManagedList&>(*property_object(*file.records[i], "Records"));
        return std::get<Ref<ManagedObject>>(list.get(0));
    };
    EXPECT_TRUE(property_bool(*record_of(1), "IsContinued"));
    const Ref<ManagedObject> brush = property_object(*record_of(1), "ObjectData");
    ASSERT_TRUE(brush);
    ASSERT_STREQ(class_of(*brush), "EmfPlusBrush");
    EXPECT_EQ(property_int(*property_object(*brush, "BrushData"), "Argb32SolidColor"),
              static_cast<int32_t>(0xFF010203));
    EXPECT_FALSE(property_object(*record_of(2), "ObjectData"));
    EXPECT_EQ(write_emf(file), bytes);

    set_property(*property_object(*brush, "BrushData"), "Argb32SolidColor", int64_t{static_cast<int32_t>(0xFF0A0B0C)});
    FileBytes expected = bytes;
    const FileBytes color = {0x0C, 0x0B, 0x0A, 0xFF};
    std::copy(color.begin(), color.end(), expected.end() - 20 - 4);
    EXPECT_EQ(write_emf(file), expected);
}

TEST(WmfFiles, AreWrittenBackAsTheyWere) {
    const FileBytes plain = wmf_file(joined(
        {wmf_record(0x0102, {1}), wmf_record(0x041B, {40, 30, 2, 1}), wmf_record(0x0521, {3, 0x6261, 0x0063, 9, 8}),
         wmf_record(0x0940, {0x62, 0xFF, 0, 0, 0xABCD, 5, 6, 7, 8}), wmf_record(0x0777, {1, 2})}));
    FileBytes placeable = words({0x9AC6CDD7});
    for (const uint16_t word : {0, 0, 0, 1000, 2000, 1440, 0, 0, 0x1111}) {
        put(placeable, word, 2);
    }
    for (const FileBytes& bytes : {plain, joined({placeable, plain}), joined({plain, FileBytes{0, 0}})}) {
        WmfFile file = read_wmf(bytes);
        ASSERT_EQ(file.records.size(), 6U);
        EXPECT_STREQ(class_of(*file.records[1]), "WmfRectangle");
        EXPECT_EQ(unbox<RectangleValue>(*property_object(*file.records[1], "Rectangle")),
                  (RectangleValue{1, 2, 29, 38}));
        EXPECT_EQ(property_string(*file.records[2], "Text"), u"abc");
        EXPECT_EQ(property_int(*file.records[3], "Width"), 6);
        EXPECT_STREQ(class_of(*file.records[4]), "WmfUntyped");
        EXPECT_EQ(write_wmf(file), bytes);
    }
    WmfFile file = read_wmf(joined({placeable, plain}));
    file.placeable->inch = 720;
    file.placeable->checksum.reset();
    const FileBytes changed = write_wmf(file);
    EXPECT_FALSE(read_wmf(changed).placeable->checksum);  // it is that of the other fields
    EXPECT_EQ(read_wmf(changed).placeable->inch, 720);
}

TEST(WmfFiles, SizesFollow) {
    WmfFile file = read_wmf(wmf_file(wmf_record(0x0521, {1, 0x0061, 9, 8})));
    set_property(*file.records[0], "Text", std::u16string(u"abcdefg"));
    const FileBytes now = write_wmf(file);
    const WmfFile again = read_wmf(now);
    EXPECT_EQ(again.header.size * 2, now.size());
    EXPECT_EQ(again.header.largest_record, 10U);
    EXPECT_EQ(property_string(*again.records[0], "Text"), u"abcdefg");
    EXPECT_EQ(write_wmf(again), now);
}

TEST(WmfFiles, ClaimsAreChecked) {
    const FileBytes good = wmf_file(wmf_record(0x0324, {2, 1, 2, 3, 4}));
    for (size_t size = 0; size < good.size(); ++size) {
        const FileBytes part(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_THROW(read_wmf(part), MetafileError) << size;
    }
    FileBytes many = good;
    many[18 + 6] = 200;
    EXPECT_THROW(read_wmf(many), MetafileError);
}

TEST(CompressedFiles, AreUnpacked) {
    // "metafile" as gzip has it.
    const FileBytes packed = {0x1F, 0x8B, 0x08, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0xFF, 0xCB, 0x4D, 0x2D, 0x49,
                              0x4C, 0xCB, 0xCC, 0x49, 0x05, 0x00, 0x67, 0xF1, 0x78, 0x6E, 0x08, 0x00, 0x00, 0x00};
    EXPECT_EQ(unpacked(packed), (FileBytes{'m', 'e', 't', 'a', 'f', 'i', 'l', 'e'}));
    EXPECT_EQ(unpacked(FileBytes{1, 2, 3}), (FileBytes{1, 2, 3}));
    EXPECT_THROW(unpacked(FileBytes(packed.begin(), packed.begin() + 15)), MetafileError);
    FileBytes damaged = packed;
    damaged[12] ^= 0xFF;
    EXPECT_THROW(unpacked(damaged), MetafileError);
}

// Draws by another program, in a folder that is removed again.
class Samples {
 public:
    Samples() {
        std::string name = (std::filesystem::temp_directory_path() / "metafiles-XXXXXX").string();
        m_folder = mkdtemp(name.data());
        const std::string script = (m_folder / "plot.gp").string();
        std::ofstream(script) << "set term emf enhanced color font 'Arial,12'\nset output '" << m_folder.string()
                              << "/plot.emf'\nset title 'Sine'\n"
                              << "plot sin(x) with lines, cos(x) with points, 0.5 with filledcurves\n";
        made = std::system(("gnuplot " + script + " > /dev/null 2>&1").c_str()) == 0;
    }
    ~Samples() { std::filesystem::remove_all(m_folder); }
    Samples(const Samples&) = delete;
    Samples& operator=(const Samples&) = delete;
    std::string folder() const { return m_folder.string(); }
    bool made = false;

 private:
    std::filesystem::path m_folder;
};

// Files that another program made, and those in the folder that ZELMOR_METAFILES names, are written back byte for byte.
TEST(MetafileSamples, AreWrittenBackAsTheyWere) {
    const Samples samples;
    const char* named = std::getenv("ZELMOR_METAFILES");
    if (named == nullptr && !samples.made) {
        GTEST_SKIP() << "gnuplot is not there, and ZELMOR_METAFILES names no folder with metafiles";
    }
    const std::string folder = named != nullptr ? named : samples.folder();
    int count = 0;
    std::set<std::string> classes;
    size_t records = 0, unusual = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file()) {
            continue;
        }
        std::ifstream stream(entry.path(), std::ios::binary);
        const FileBytes packed{std::istreambuf_iterator<char>(stream), {}};
        const FileBytes bytes = unpacked(packed);
        SCOPED_TRACE(entry.path());
        if (!is_emf(bytes) && !is_wmf(bytes)) {
            continue;
        }
        ++count;
        try {
            const auto note = [&](const std::vector<Ref<ManagedObject>>& all) {
                for (const auto& each : all) {
                    ++records;
                    unusual += static_cast<const MetafileObject&>(*each).source.empty() ? 0 : 1;
                    if (!static_cast<const MetafileObject&>(*each).source.empty()) {
                        classes.insert(class_of(*each));
                    }
                }
            };
            if (is_emf(bytes)) {
                const EmfFile file = read_emf(bytes);
                note(file.records);
                EXPECT_EQ(write_emf(file), bytes);
            } else {
                const WmfFile file = read_wmf(bytes);
                note(file.records);
                EXPECT_EQ(write_wmf(file), bytes);
            }
        } catch (const MetafileError& error) {
            ADD_FAILURE() << error.what();
        }
    }
    EXPECT_GT(count, 0);
    std::string names;
    for (const std::string& name : classes) {
        names += " " + name;
    }
    std::printf("%d files, %zu records, %zu of them with their source:%s\n", count, records, unusual, names.c_str());
}

}  // namespace
}  // namespace zelmor::embed::metafile

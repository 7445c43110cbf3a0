// Damaged TGA files: every cut, alterations by seed, claims that nothing backs, and how much of a file is read.
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "tests/unit/formats/tga_files.h"

namespace zelmor::imagework {
namespace {

constexpr PixelForm kForms[] = {{ColorModel::kGray, SampleType::kUint8, 8, false},
                                {ColorModel::kGray, SampleType::kUint8, 8, true},
                                {ColorModel::kRgb, SampleType::kUint8, 8, false},
                                {ColorModel::kRgb, SampleType::kUint8, 8, true},
                                {ColorModel::kIndexed, SampleType::kUint8, 8, false}};

TgaEncoding with_areas(bool runs, bool from_top) {
    TgaEncoding encoding;
    encoding.run_length = runs;
    encoding.from_top = from_top;
    encoding.image_id = {1, 2, 3};
    encoding.extension.emplace();
    encoding.extension->set_attributes(TgaAttributes::kAlpha);
    encoding.correction_table.resize(2048);
    encoding.stamp = TgaStamp{2, 2};
    encoding.scan_lines = true;
    encoding.developer = {{7, {1, 2, 3}}};
    return encoding;
}

// Opens and reads; every error is one of the kinds that a file may cause.
void look_at(const Bytes& file, Recovery recovery) {
    probe(file);
    try {
        const auto frames = opened_tga(file, recovery, 0xFF123456);
        const FrameHeader header = frames->header(0);
        if (header.facts.width * header.facts.height < 1 << 16) {
            const auto reader = frames->open(0);
            const auto rows = all_rows(*reader, 3);
            if (reader->header().form.color == ColorModel::kIndexed) {
                for (const uint8_t index : rows) {
                    ASSERT_LT(index, reader->header().palette.size());
                }
            }
            // The picture can be written with what the file says.
            Bytes again;
            make_tga_writer(reader->header(), fitting_tga(frames->settings(), reader->header()), again);
        }
    } catch (const PictureError& error) {
        ASSERT_TRUE(error.kind() == Failure::kDamaged || error.kind() == Failure::kUnsupported ||
                    error.kind() == Failure::kTooLarge)
            << error.what();
    }
}

TEST(TgaDamageTest, EveryCut) {
    for (const PixelForm& form : kForms) {
        for (int layout = 0; layout < 4; layout++) {
            const RowsHeader header = header_of(7, 5, form);
            const Bytes rows = random_rows(header);
            const Bytes file = written_tga(header, rows, with_areas((layout & 1) != 0, (layout & 2) != 0));
            TgaEncoding bare;
            bare.run_length = (layout & 1) != 0;
            bare.from_top = (layout & 2) != 0;
            bare.footer = false;
            const Bytes pixels = written_tga(header, rows, bare);
            for (size_t length = 0; length < pixels.size(); length++) {
                const Bytes cut(pixels.begin(), pixels.begin() + static_cast<std::ptrdiff_t>(length));
                EXPECT_EQ(failure_of([&] { all_rows(*opened_tga(cut)->open(0)); }).kind(), Failure::kDamaged);
                look_at(cut, Recovery::kConsistent);
            }
            for (size_t length = 0; length < file.size(); length += length < 300 ? 1 : 7) {
                const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
                look_at(cut, Recovery::kNone);
                look_at(cut, Recovery::kMaximal);
            }
        }
    }
}

TEST(TgaDamageTest, AlterationsAreAnErrorOrAPicture) {
    std::mt19937 random(11);
    for (const PixelForm& form : kForms) {
        for (int layout = 0; layout < 4; layout++) {
            const RowsHeader header = header_of(9, 6, form);
            const Bytes file =
                written_tga(header, random_rows(header), with_areas((layout & 1) != 0, (layout & 2) != 0));
            for (int trial = 0; trial < 400; trial++) {
                Bytes altered = file;
                for (unsigned times = 1 + static_cast<unsigned>(random() % 3); times > 0; times--) {
                    // The header and the end are where most is decided.
                    const size_t at = random() % 3 == 0   ? random() % 18
                                      : random() % 2 == 0 ? altered.size() - 1 - random() % 60
                                                          : random() % altered.size();
                    altered[at] = static_cast<uint8_t>(random());
                }
                look_at(altered, trial % 2 == 0 ? Recovery::kNone : Recovery::kMaximal);
            }
        }
    }
}

TEST(TgaDamageTest, RowsThatAreLostHaveTheBackground) {
    for (const PixelForm& form : kForms) {
        for (int layout = 0; layout < 4; layout++) {
            const RowsHeader header = header_of(9, 30, form);
            const Bytes rows = random_rows(header);
            TgaEncoding encoding;
            encoding.run_length = (layout & 1) != 0;
            encoding.from_top = (layout & 2) != 0;
            encoding.footer = false;
            const Bytes file = written_tga(header, rows, encoding);
            const Bytes cut(file.begin(), file.end() - 20);
            const auto whole = colors_of(*opened_tga(file)->open(0));
            EXPECT_EQ(failure_of([&] { colors_of(*opened_tga(cut)->open(0)); }).kind(), Failure::kDamaged);
            for (const Argb background : {0xFF0A0B0CU, 0xFF0C0C0CU, 0xFF000000U}) {
                const auto found = colors_of(*opened_tga(cut, Recovery::kConsistent, background)->open(0));
                ASSERT_EQ(found.size(), whole.size());
                const bool from_top = encoding.from_top;
                // The rows at the end of the file are missing: the lowest, or the highest.
                EXPECT_EQ(from_top ? found.back() : found.front(), background);
                EXPECT_EQ(from_top ? found.front() : found.back(), from_top ? whole.front() : whole.back());
                size_t differing = 0;
                for (size_t i = 0; i < whole.size(); i++) {
                    differing += found[i] != whole[i] ? 1 : 0;
                    EXPECT_TRUE(found[i] == whole[i] || found[i] == background);
                }
                EXPECT_LE(differing, 30U * 9 / 2);
            }
        }
    }
}

TEST(TgaDamageTest, AreasOutsideTheFileAreLeftOut) {
    const RowsHeader header = header_of(3, 2, kForms[2]);
    const Bytes plain = [&] {
        TgaEncoding encoding;
        encoding.footer = false;
        return written_tga(header, random_rows(header), encoding);
    }();
    for (const uint32_t at : {1U, 30U, 400U, 0xFFFFFFFFU}) {
        const auto settings = opened_tga(with_footer(plain, at, at))->settings();
        EXPECT_TRUE(settings.footer);
        EXPECT_FALSE(settings.extension);
    }
    // A directory whose entries all lie over the whole file takes no more than the file has.
    Bytes file = plain;
    const auto directory = static_cast<uint32_t>(file.size());
    put(file, 60000, 2);
    for (int i = 0; i < 60000; i++) {
        put(file, 1, 2);
        put(file, 0, 4);
        put(file, 600000, 4);
    }
    const auto found = opened_tga(with_footer(file, 0, directory))->settings();
    EXPECT_EQ(found.developer.size(), 1U);
}

// Counts the bytes that are asked for.
class CountedSource final : public DataSource {
 public:
    explicit CountedSource(Bytes bytes) : m_bytes(std::move(bytes)) {}
    uint64_t size() const override { return m_bytes.size(); }
    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        const auto found = ByteReader(m_bytes).piece(offset, out.size());
        std::copy(found.begin(), found.end(), out.begin());
        read += found.size();
        return found.size();
    }
    mutable uint64_t read = 0;

 private:
    Bytes m_bytes;
};

TEST(TgaDamageTest, RowsAreReadAsTheyAreAskedFor) {
    const RowsHeader header = header_of(1000, 1000, kForms[2]);
    const Bytes rows = random_rows(header);
    for (int layout = 0; layout < 4; layout++) {
        TgaEncoding encoding = with_areas((layout & 1) != 0, (layout & 2) != 0);
        const auto source = std::make_shared<CountedSource>(written_tga(header, rows, encoding));
        const auto frames = open_tga(source, {});
        const auto reader = frames->open(0);
        EXPECT_LT(source->read, 50'000U);
        source->read = 0;
        Bytes some(10 * row_size(header));
        reader->read(10, some);
        const bool searches = encoding.run_length && !encoding.from_top;  // for where the last row begins
        EXPECT_LT(source->read, searches ? 3'500'000U : 400'000U);
        EXPECT_TRUE(std::equal(some.begin(), some.end(), rows.begin()));
        source->read = 0;
        EXPECT_EQ(all_rows(*frames->open(0), 10), rows);
        EXPECT_LT(source->read, searches ? 8'000'000U : 3'700'000U);
    }
}

TEST(TgaDamageTest, ClaimsTakeNoMemory) {
    // 65535 by 65535 pixels of a few bytes: the places of the rows are counted, the pixels are not there.
    TgaMade made;
    made.width = made.height = 3;
    made.depth = 32;
    made.pixels = std::vector<uint32_t>(9, 5);
    made.image_type = 10;
    Bytes file = made.file();
    file[12] = file[13] = file[14] = file[15] = 0xFF;
    DecodeOptions options;
    options.memory = std::make_shared<MemoryBudget>(100'000);
    Bytes row(65535 * 3);
    EXPECT_EQ(failure_of([&] { open_tga(memory_source(file), options)->open(0)->read(1, row); }).kind(),
              Failure::kTooLarge);
    EXPECT_EQ(failure_of([&] { opened_tga(file)->open(0)->read(1, row); }).kind(), Failure::kDamaged);
    EXPECT_EQ(failure_of([&] { opened_tga(file, Recovery::kMaximal); }).kind(), Failure::kDamaged);
    file[2] = 2;
    EXPECT_EQ(failure_of([&] { opened_tga(file); }).kind(), Failure::kDamaged);
}

}  // namespace
}  // namespace zelmor::imagework

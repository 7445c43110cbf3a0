// Sources of rows and the steps between them; see deferred_rows.h.
#include "runtime/native/imagework/vips/deferred_rows.h"

#include <algorithm>
#include <cassert>
#include <utility>
#include <vector>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/pixels/samples.h"
#include "runtime/native/imagework/vips/resample.h"
#include "runtime/native/imagework/vips/rows_image.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

size_t row_size_of(const RowsHeader& header) {
    return header.form.pixel_size() * static_cast<size_t>(header.width);
}

std::string with_subject(const std::string& subject, const std::string& text) {
    return subject.empty() ? text : subject + ": " + text;
}

// Rows of more bytes are decoded again rather than kept for a second pass: one picture should not take most of the
// memory that a process has, only to save time.
bool fits_an_array(const RowsHeader& header) {
    return row_size_of(header) * static_cast<size_t>(header.height) <= static_cast<size_t>(limits::kArrayBytes);
}

RowsHeader size_and_form(const RowsHeader& header) {
    RowsHeader result;
    result.width = header.width;
    result.height = header.height;
    result.form = header.form;
    return result;
}

// A reader between another one and whoever asks it.
class RowsBetween : public RowReader {
 public:
    RowsBetween(RowsHeader header, std::unique_ptr<RowReader> before)
        : m_header(std::move(header)), m_before(std::move(before)) {}
    const RowsHeader& header() const override { return m_header; }

 protected:
    RowReader& before() { return *m_before; }

 private:
    RowsHeader m_header;
    std::unique_ptr<RowReader> m_before;
};

// The samples of a file as pictures hold them.
class FileRows final : public RowsBetween {
 public:
    FileRows(RowsHeader header, std::unique_ptr<RowReader> reader, std::string damaged)
        : RowsBetween(std::move(header), std::move(reader)), m_damaged(std::move(damaged)) {}
    void read(int32_t count, std::span<uint8_t> rows) override {
        labeled(m_damaged, [&] { before().read(count, rows); });
        turn_signs(header().form, rows);
    }

 private:
    std::string m_damaged;
};

class CroppedRows final : public RowsBetween {
 public:
    CroppedRows(RowsHeader header, std::unique_ptr<RowReader> before, const Rect& area)
        : RowsBetween(std::move(header), std::move(before)), m_area(area) {}

    void read(int32_t count, std::span<uint8_t> rows) override {
        const size_t pixel = header().form.pixel_size();
        m_row.resize(row_size_of(before().header()));
        for (; m_skipped < m_area.y; m_skipped++) {
            before().read(1, m_row);
        }
        const size_t size = row_size_of(header());
        for (int32_t i = 0; i < count; i++) {
            before().read(1, m_row);
            std::copy_n(m_row.begin() + static_cast<std::ptrdiff_t>(pixel * static_cast<size_t>(m_area.x)), size,
                        rows.begin() + static_cast<std::ptrdiff_t>(size * static_cast<size_t>(i)));
        }
    }

 private:
    Rect m_area;
    int32_t m_skipped = 0;
    std::vector<uint8_t> m_row;
};

class ConvertedRows final : public RowsBetween {
 public:
    ConvertedRows(RowsHeader header, std::unique_ptr<RowReader> before, RowStep step)
        : RowsBetween(std::move(header), std::move(before)), m_step(std::move(step)) {}

    void read(int32_t count, std::span<uint8_t> rows) override {
        const size_t from_size = row_size_of(before().header());
        m_rows.resize(from_size * static_cast<size_t>(count));
        before().read(count, m_rows);
        m_step(m_rows.data(), rows.data(), static_cast<size_t>(header().width) * static_cast<size_t>(count));
    }

 private:
    RowStep m_step;
    std::vector<uint8_t> m_rows;
};

class FrameRows final : public DeferredRows {
 public:
    FrameRows(SharedFrames frames, size_t index, std::unique_ptr<RowReader> opened, const DecodeOptions& options,
              std::string damaged)
        : DeferredRows(size_and_form(opened->header()),
                       {options.memory != nullptr ? options.memory : std::make_shared<MemoryBudget>(), options.subject,
                        frames->count() == 1}),
          m_frames(std::move(frames)),
          m_index(index),
          m_opened(std::move(opened)),
          m_damaged(std::move(damaged)) {}

 private:
    std::unique_ptr<RowReader> stream() override {
        if (m_opened != nullptr) {
            return file_rows(std::move(m_opened));
        }
        return file_rows(labeled(m_damaged, [&] { return m_frames->open(m_index); }));
    }
    Reduced stream_reduced(Sides least) override {
        const int most = std::min(header().width / least.width, header().height / least.height);
        return labeled(m_damaged, [&]() -> Reduced {
            const int divisor = most > 1 ? m_frames->reduction(m_index, most) : 1;
            if (divisor > 1) {
                const ReducedSides sides{static_cast<double>(header().width) / divisor,
                                         static_cast<double>(header().height) / divisor};
                return {file_rows(m_frames->open_reduced(m_index, divisor)), sides};
            }
            FrameCopy copy = m_frames->open_copy(m_index, least);
            return copy.reader == nullptr ? Reduced{} : Reduced{file_rows(std::move(copy.reader)), copy.sides};
        });
    }

    // The reader of an animation's frame has its canvas; others have next to nothing.
    void drop() override {
        if (m_frames->composes()) {
            m_opened.reset();
        }
    }

    std::unique_ptr<RowReader> file_rows(std::unique_ptr<RowReader> reader) const {
        RowsHeader header = size_and_form(reader->header());
        return std::make_unique<FileRows>(std::move(header), std::move(reader), m_damaged);
    }

    SharedFrames m_frames;
    size_t m_index;
    std::unique_ptr<RowReader> m_opened;
    std::string m_damaged;
};

class CroppedSource final : public DeferredRows {
 public:
    CroppedSource(SharedRows before, RowsHeader header, const Rect& area)
        : DeferredRows(std::move(header), origin_of(*before)), m_before(std::move(before)), m_area(area) {}

 private:
    std::unique_ptr<RowReader> stream() override {
        return std::make_unique<CroppedRows>(header(), m_before->open(), m_area);
    }

    SharedRows m_before;
    Rect m_area;
};

class ConvertedSource final : public DeferredRows {
 public:
    ConvertedSource(SharedRows before, RowsHeader header, RowStep step)
        : DeferredRows(std::move(header), origin_of(*before)), m_before(std::move(before)), m_step(std::move(step)) {}

 private:
    std::unique_ptr<RowReader> stream() override {
        return std::make_unique<ConvertedRows>(header(), m_before->open(), m_step);
    }
    // A mean of colors is converted instead of the colors.
    Reduced stream_reduced(Sides least) override {
        Reduced rows = open_reduced(*m_before, least);
        if (rows.reader == nullptr) {
            return {};
        }
        RowsHeader reduced = header();
        reduced.width = rows.reader->header().width;
        reduced.height = rows.reader->header().height;
        return {std::make_unique<ConvertedRows>(std::move(reduced), std::move(rows.reader), m_step), rows.sides};
    }

    SharedRows m_before;
    RowStep m_step;
};

// The decoder or a copy leaves at least twice the pixels to each side that are asked for, so that the kernel decides on
// how the result looks.
constexpr int kLeast = 2;

class ResizedSource final : public DeferredRows {
 public:
    ResizedSource(SharedRows before, RowsHeader header, Resampling resampling)
        : DeferredRows(std::move(header), origin_of(*before)), m_before(std::move(before)), m_resampling(resampling) {}

 private:
    std::unique_ptr<RowReader> stream() override {
        const RowsHeader& old = m_before->header();
        const bool picks = m_resampling == Resampling::kNearest;
        if (!picks && header().width <= old.width / kLeast && header().height <= old.height / kLeast) {
            Reduced rows = open_reduced(*m_before, {kLeast * header().width, kLeast * header().height});
            if (rows.reader != nullptr) {
                return resampled_rows(std::move(rows.reader), rows.sides, header(), m_resampling);
            }
        }
        const ReducedSides whole{static_cast<double>(old.width), static_cast<double>(old.height)};
        return resampled_rows(m_before->open(), whole, header(), m_resampling);
    }

    SharedRows m_before;
    Resampling m_resampling;
};

}  // namespace

SharedRows DeferredRows::of_frame(SharedFrames frames, size_t index, std::unique_ptr<RowReader> opened,
                                  const DecodeOptions& options, std::string damaged) {
    assert(frames != nullptr && opened != nullptr);
    damaged = with_subject(options.subject, damaged);
    return std::make_shared<FrameRows>(std::move(frames), index, std::move(opened), options, std::move(damaged));
}

SharedRows DeferredRows::cropped(SharedRows rows, const Rect& area) {
    RowsHeader header = rows->header();
    assert(area.x >= 0 && area.y >= 0 && area.width > 0 && area.height > 0 && area.x + area.width <= header.width &&
           area.y + area.height <= header.height);
    header.width = area.width;
    header.height = area.height;
    return std::make_shared<CroppedSource>(std::move(rows), std::move(header), area);
}

SharedRows DeferredRows::resized(SharedRows rows, int32_t width, int32_t height, Resampling resampling) {
    assert(width > 0 && height > 0);
    RowsHeader header = rows->header();
    header.width = width;
    header.height = height;
    return std::make_shared<ResizedSource>(std::move(rows), std::move(header), resampling);
}

SharedRows DeferredRows::converted(SharedRows rows, const PixelForm& form, RowStep step) {
    RowsHeader header = rows->header();
    header.form = form;
    return std::make_shared<ConvertedSource>(std::move(rows), std::move(header), std::move(step));
}

std::unique_ptr<RowReader> DeferredRows::kept_rows() const {
    return m_packed != nullptr ? rows_of_packed(m_packed, m_header) : rows_of_image(m_kept, m_header);
}

std::unique_ptr<RowReader> DeferredRows::open() {
    const std::lock_guard lock(m_mutex);
    if (m_read && m_origin.keeps && !is_kept() && fits_an_array(m_header)) {
        try {
            keep();
        } catch (const PictureError& error) {
            if (error.kind() != Failure::kDamaged) {
                throw;
            }
            // The rows that are wanted may come before the damage, or the picture may be larger than its memory.
        }
    }
    m_read = true;
    return is_kept() ? kept_rows() : stream();
}

DeferredRows::Reduced DeferredRows::open_reduced(DeferredRows& rows, Sides least) {
    const std::lock_guard lock(rows.m_mutex);
    return rows.is_kept() ? Reduced{} : rows.stream_reduced(least);
}

namespace {

// The file is at fault, not a lack of memory.
template <class Step>
auto charged_to_the_file(const std::string& subject, Step&& step) -> decltype(step()) {
    try {
        return step();
    } catch (const PictureError& error) {
        if (error.kind() != Failure::kTooLarge) {
            throw;
        }
        throw PictureError(Failure::kDamaged, with_subject(subject, error.what()));
    }
}

}  // namespace

VImage DeferredRows::image() {
    const std::lock_guard lock(m_mutex);
    if (m_packed == nullptr && m_kept.is_null()) {
        m_kept = charged_to_the_file(m_origin.subject, [&] { return image_of_rows(*stream(), m_origin.budget); });
    }
    m_read = true;
    return m_packed == nullptr
               ? m_kept
               : charged_to_the_file(m_origin.subject, [&] { return image_of_rows(*kept_rows(), m_origin.budget); });
}

std::shared_ptr<const PackedPixels> DeferredRows::packed() {
    const std::lock_guard lock(m_mutex);
    if (!is_kept()) {
        pack();
        m_read = m_read || is_kept();
    }
    return m_packed;
}

bool DeferredRows::is_packed() const {
    const std::lock_guard lock(m_mutex);
    return m_packed != nullptr;
}

void DeferredRows::forget() {
    const std::lock_guard lock(m_mutex);
    m_kept = VImage();
    m_packed.reset();
    drop();
}

void DeferredRows::pack() {
    if (!m_packs || !PackedPixels::suit(m_header.form)) {
        return;
    }
    m_packed = charged_to_the_file(m_origin.subject, [&]() -> std::shared_ptr<const PackedPixels> {
        auto pixels = std::make_shared<PackedPixels>(m_header, m_origin.budget);
        const std::unique_ptr<RowReader> rows = stream();
        const size_t row_size = row_size_of(m_header);
        constexpr size_t kBlock = size_t{64} << 10;
        const auto step = static_cast<int32_t>(std::max<size_t>(1, kBlock / row_size));
        std::vector<uint8_t> block;
        for (int32_t done = 0; done < m_header.height && m_packs;) {
            const int32_t count = std::min(step, m_header.height - done);
            block.resize(row_size * static_cast<size_t>(count));
            rows->read(count, block);
            m_packs = pixels->add(count, block);
            done += count;
        }
        return m_packs ? std::move(pixels) : nullptr;
    });
}

void DeferredRows::keep() {
    pack();
    if (m_packed == nullptr) {
        m_kept = charged_to_the_file(m_origin.subject, [&] { return image_of_rows(*stream(), m_origin.budget); });
    }
}

}  // namespace zelmor::imagework

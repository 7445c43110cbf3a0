// Resampling in two passes, down the columns and across the rows, with weights that are made once for each column and
// row. The numbers between the passes are not rounded.
#include "runtime/native/imagework/vips/resample.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

#include "runtime/native/imagework/resampling_weights.h"
#include "runtime/native/imagework/vips/sample_rows.h"
#include "runtime/native/imagework/vips/strips.h"
#include "runtime/native/imagework/vips/vips_picture.h"
#include "runtime/native/imagework/vips/wide_code.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

constexpr size_t kBlock = 1024;               // samples of a row that are worked on together, in the fastest cache
constexpr size_t kBetween = size_t{1} << 18;  // samples between the passes
constexpr size_t kSlack = 4;                  // samples that may be read and written behind a row

// The weights of one pass in the precision of the work.
template <class Work>
struct Pass {
    explicit Pass(const ResamplingWeights& weights)
        : first(weights.first),
          count(weights.count),
          stride(weights.stride),
          values(weights.values.begin(), weights.values.end()) {}

    std::vector<int> first;
    std::vector<int> count;
    size_t stride;
    std::vector<Work> values;

    int end(int i) const { return first[static_cast<size_t>(i)] + count[static_cast<size_t>(i)]; }
    const Work* weights(int i) const { return &values[static_cast<size_t>(i) * stride]; }
};

// One row by the weights of its columns. Pixels of three or four samples fill one vector of four; of three the fourth
// number belongs to the next pixel and is written over by it.
template <class Work, int bands>
struct AcrossRow {
    ZELMOR_INLINE void run(const Work* row, const Pass<Work>* pass, Work* to) {
        using Four = typename Lanes<Work>::Four;
        using LooseFour = typename Lanes<Work>::LooseFour;
        const auto four = [](const Work* place) __attribute__((always_inline)) {
            return reinterpret_cast<const LooseFour*>(place);
        };
        const int width = static_cast<int>(pass->first.size());
        for (int x = 0; x < width; x++) {
            const Work* at = row + static_cast<ptrdiff_t>(pass->first[static_cast<size_t>(x)]) * bands;
            const Work* weight = pass->weights(x);
            const Work* const end = weight + pass->count[static_cast<size_t>(x)];
            if constexpr (bands == 3 || bands == 4) {
                Four even = {};
                Four odd = {};
                for (; weight + 2 <= end; weight += 2) {
                    even += *four(at) * weight[0];
                    odd += *four(at + bands) * weight[1];
                    at += 2 * bands;
                }
                if (weight < end) {
                    even += *four(at) * weight[0];
                }
                *reinterpret_cast<LooseFour*>(to) = even + odd;
            } else if constexpr (bands == 1) {
                Four sums = {};
                for (; weight + 4 <= end; weight += 4, at += 4) {
                    sums += *four(at) * *four(weight);
                }
                Work sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
                for (; weight < end; weight++, at++) {
                    sum += *at * *weight;
                }
                *to = sum;
            } else {
                Work sums[bands] = {};
                for (; weight < end; weight++, at += bands) {
                    for (int band = 0; band < bands; band++) {
                        sums[band] += at[band] * *weight;
                    }
                }
                std::memcpy(to, sums, sizeof sums);
            }
            to += bands;
        }
    }
};

template <class Work>
void across_row(const Work* row, const Pass<Work>& pass, Work* to, int bands) {
    switch (bands) {
        case 1:
            return run_step<AcrossRow<Work, 1>>(row, &pass, to);
        case 2:
            return run_step<AcrossRow<Work, 2>>(row, &pass, to);
        case 3:
            return run_step<AcrossRow<Work, 3>>(row, &pass, to);
        case 4:
            return run_step<AcrossRow<Work, 4>>(row, &pass, to);
        case 5:
            return run_step<AcrossRow<Work, 5>>(row, &pass, to);
        default:
            throw PictureError(Failure::kUnsupported, "pixels of " + std::to_string(bands) + " channels");
    }
}

template <class Work>
class Resampler {
 public:
    Resampler(const VImage& source, const VImage& target, bool alpha, const std::optional<Pass<Work>>& across,
              const std::optional<Pass<Work>>& down)
        : m_source(source),
          m_target(target),
          m_form{source.format(), source.bands(), alpha},
          m_across(across),
          m_down(down),
          m_old_row(m_form.samples(source.width())),
          m_new_row(m_form.samples(target.width())) {}

    void run() {
        const bool down_first = !m_down || m_target.height() <= m_source.height();
        const size_t row = down_first ? m_old_row : m_new_row;
        const int rows = static_cast<int>(std::clamp<size_t>(kBetween / row, 8, 64));
        for_strips(m_target, rows, [&](int begin, int end) {
            if (down_first) {
                reduce_down(begin, end);
            } else {
                enlarge_down(begin, end);
            }
        });
    }

 private:
    // The rows are brought to their number first, in the old width.
    void reduce_down(int begin, int end) {
        std::vector<Work> between(static_cast<size_t>(end - begin) * m_old_row + kSlack);
        if (m_down) {
            const int pixels = static_cast<int>(kBlock) / m_form.bands;
            std::vector<Work> block(m_form.samples(pixels));
            for (int x = 0; x < m_source.width(); x += pixels) {
                add_columns(begin, end, x, std::min(pixels, m_source.width() - x), block, between);
            }
        } else {
            for (int y = begin; y < end; y++) {
                unpack_row(m_form, row_of(m_source, y), &between[row(begin, y, m_old_row)], m_source.width());
            }
        }
        std::vector<Work> finished(m_new_row + kSlack);
        for (int y = begin; y < end; y++) {
            Work* numbers = &between[row(begin, y, m_old_row)];
            if (m_across) {
                across_row(numbers, *m_across, finished.data(), m_form.bands);
                numbers = finished.data();
            }
            pack_row(m_form, numbers, row_of(m_target, y), m_target.width());
        }
    }

    // Adds each old row of the columns to all new rows that it counts for.
    void add_columns(int begin, int end, int x, int pixels, std::vector<Work>& block, std::vector<Work>& between) {
        int lowest = begin;
        for (int old = m_down->first[static_cast<size_t>(begin)]; old < m_down->end(end - 1); old++) {
            unpack_row(m_form, row_of(m_source, old, x), block.data(), pixels);
            while (m_down->end(lowest) <= old) {
                lowest++;
            }
            for (int y = lowest; y < end && m_down->first[static_cast<size_t>(y)] <= old; y++) {
                run_step<AddScaled<Work>>(static_cast<const Work*>(block.data()),
                                          m_down->weights(y)[old - m_down->first[static_cast<size_t>(y)]],
                                          &between[row(begin, y, m_old_row) + m_form.samples(x)],
                                          m_form.samples(pixels));
            }
        }
    }

    // The old rows are brought to the new width first.
    void enlarge_down(int begin, int end) {
        const int first = m_down->first[static_cast<size_t>(begin)];
        const int last = m_down->end(end - 1);
        std::vector<Work> between(static_cast<size_t>(last - first) * m_new_row + kSlack);
        std::vector<Work> whole(m_across ? m_old_row + kSlack : 0);
        for (int old = first; old < last; old++) {
            Work* numbers = &between[row(first, old, m_new_row)];
            unpack_row(m_form, row_of(m_source, old), m_across ? whole.data() : numbers, m_source.width());
            if (m_across) {
                across_row(whole.data(), *m_across, numbers, m_form.bands);
            }
        }
        std::vector<Work> finished(m_new_row);
        for (int y = begin; y < end; y++) {
            const Work* numbers = &between[row(first, m_down->first[static_cast<size_t>(y)], m_new_row)];
            run_step<WeightedSum<Work>>(numbers, m_new_row, m_down->weights(y),
                                        static_cast<size_t>(m_down->count[static_cast<size_t>(y)]), finished.data(),
                                        m_new_row);
            pack_row(m_form, finished.data(), row_of(m_target, y), m_target.width());
        }
    }

    static size_t row(int begin, int y, size_t size) { return static_cast<size_t>(y - begin) * size; }

    VImage m_source;
    VImage m_target;
    SampleForm m_form;
    const std::optional<Pass<Work>>& m_across;
    const std::optional<Pass<Work>>& m_down;
    size_t m_old_row;  // samples
    size_t m_new_row;
};

// Sums of so many terms lose bits: beyond that, single precision could change a sample.
bool loses_bits(const VImage& image, size_t terms) {
    return !fits_single(image.format()) || terms > (vips_format_sizeof(image.format()) == 1 ? 4096 : 128);
}

template <class Work>
VImage by_weights(const VImage& source, int width, int height, const std::optional<ResamplingWeights>& across,
                  const std::optional<ResamplingWeights>& down, bool alpha) {
    const auto pass = [](const std::optional<ResamplingWeights>& weights) {
        return weights ? std::make_optional<Pass<Work>>(*weights) : std::nullopt;
    };
    const auto across_pass = pass(across);
    const auto down_pass = pass(down);
    VImage target = raster_like(source, width, height, source.bands(), source.format());
    Resampler<Work>(source, target, alpha, across_pass, down_pass).run();
    return target;
}

VImage by_kernel(const VImage& image, int width, int height, Resampling resampling, bool alpha) {
    if (image.width() == width && image.height() == height) {
        return image;
    }
    std::optional<ResamplingWeights> across;
    std::optional<ResamplingWeights> down;
    size_t terms = 0;
    if (image.width() != width) {
        across = resampling_weights(resampling, image.width(), width);
        terms = across->stride;
    }
    if (image.height() != height) {
        down = resampling_weights(resampling, image.height(), height);
        terms = std::max(terms, down->stride);
    }
    const VImage source = image.copy_memory();
    return loses_bits(source, terms) ? by_weights<double>(source, width, height, across, down, alpha)
                                     : by_weights<float>(source, width, height, across, down, alpha);
}

// Looks each new pixel up at the place of its center, (i + 1/2) * old / new.
VImage nearest(const VImage& image, int width, int height) {
    const VImage source = image.copy_memory();
    VImage target = raster_like(source, width, height, source.bands(), source.format());
    const size_t size = VIPS_IMAGE_SIZEOF_PEL(source.get_image());
    const auto place = [](int i, int from, int to) {
        return static_cast<size_t>((2 * int64_t{i} + 1) * from / (2 * int64_t{to}));
    };
    std::vector<size_t> offsets(static_cast<size_t>(width));
    for (int x = 0; x < width; x++) {
        offsets[static_cast<size_t>(x)] = size * place(x, source.width(), width);
    }
    for_strips(target, 64, [&](int begin, int end) {
        for (int y = begin; y < end; y++) {
            const uint8_t* from = row_of(source, static_cast<int>(place(y, source.height(), height)));
            uint8_t* to = row_of(target, y);
            const auto copy = [&](auto known_size) {
                const size_t bytes = known_size == 0 ? size : known_size;
                for (const size_t offset : offsets) {
                    std::memcpy(to, from + offset, bytes);
                    to += bytes;
                }
            };
            // Sizes that the compiler knows become single instructions.
            switch (size) {
                case 1:
                    copy(std::integral_constant<size_t, 1>());
                    break;
                case 3:
                    copy(std::integral_constant<size_t, 3>());
                    break;
                case 4:
                    copy(std::integral_constant<size_t, 4>());
                    break;
                default:
                    copy(std::integral_constant<size_t, 0>());
                    break;
            }
        }
    });
    return target;
}

// Enlarges by the library's locally bounded bicubic, so that the outer edges of both pictures meet.
VImage enlarged_adaptively(const VImage& image, int width, int height, bool alpha) {
    if (width == image.width() && height == image.height()) {
        return image;
    }
    const double across = static_cast<double>(width) / image.width();
    const double down = static_cast<double>(height) / image.height();
    const auto top = VImage::option()->set("max_alpha", channel_max(image));
    const VImage source = alpha ? image.premultiply(top) : image;
    const VImage result =
        source.affine({across, 0, 0, down}, VImage::option()
                                                ->set("interpolate", vips::VInterpolate::new_from_name("lbb"))
                                                ->set("odx", across / 2 - 0.5)
                                                ->set("ody", down / 2 - 0.5)
                                                ->set("oarea", std::vector<int>{0, 0, width, height})
                                                ->set("extend", VIPS_EXTEND_COPY)
                                                ->set("premultiplied", true));
    return rounded_like(alpha ? result.unpremultiply(VImage::option()->set("max_alpha", channel_max(image))) : result,
                        image);
}

}  // namespace

VImage resampled(const VImage& image, int width, int height, Resampling resampling, bool alpha) {
    switch (resampling) {
        case Resampling::kNearest:
            return nearest(image, width, height);
        case Resampling::kAdaptive:
            return enlarged_adaptively(
                by_kernel(image, std::min(width, image.width()), std::min(height, image.height()), resampling, alpha),
                width, height, alpha);
        default:
            return by_kernel(image, width, height, resampling, alpha);
    }
}

void VipsPicture::resize(int32_t width, int32_t height, Resampling resampling) {
    check_picture_size(width, height, static_cast<int>(VIPS_IMAGE_SIZEOF_PEL(m_image.get_image())));
    if (width == m_image.width() && height == m_image.height()) {
        return;
    }
    if (resampling != Resampling::kNearest) {  // which mixes nothing
        to_direct();
    }
    apply("the image could not be resized", [&] { return resampled(m_image, width, height, resampling, has_alpha()); });
}

}  // namespace zelmor::imagework

// Decoding by LibRaw; see raw_decoder.h.
#include "runtime/native/formats/dng/raw_decoder.h"

#include <libraw/libraw.h>

#include <algorithm>
#include <cassert>
#include <new>
#include <string>

#include "runtime/native/formats/dng/raw_stream.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

// Of libgomp, which LibRaw is linked with. The compiler is not asked for OpenMP, so that its header may be missing.
extern "C" {
int omp_get_max_threads(void);
void omp_set_num_threads(int count);
}

namespace zelmor::imagework {
namespace {

// The library does all work on the calling thread: threads of OpenMP would not outlive a fork, and a child that asks
// for them waits for ever. The setting belongs to this thread, and the program gets its own back.
class OneThread {
 public:
    OneThread() : m_before(omp_get_max_threads()) { omp_set_num_threads(1); }
    ~OneThread() { omp_set_num_threads(m_before); }
    OneThread(const OneThread&) = delete;
    OneThread& operator=(const OneThread&) = delete;

 private:
    int m_before;
};

// A text in a field of the library's, which may fill it.
template <size_t kSize>
std::string text_of(const char (&field)[kSize]) {
    return {field, std::find(field, field + kSize, '\0')};
}

// Nothing on the standard error: damage is reported by exceptions.
constexpr unsigned kQuiet = LIBRAW_OPIONS_NO_MEMERR_CALLBACK | LIBRAW_OPIONS_NO_DATAERR_CALLBACK;

}  // namespace

struct RawDecoder::State {
    State(const SharedSource& source, const DngStructure& found, const DecodeOptions& options)
        : structure(found),
          recovery(options.recovery),
          stream(source, [this] { library.setCancelFlag(); }),
          library(kQuiet) {
        libraw_output_params_t& params = library.imgdata.params;
        params.use_camera_wb = options.white_balance_of_picture ? 0 : 1;
        params.use_auto_wb = options.white_balance_of_picture ? 1 : 0;
        params.fbdd_noiserd = options.noise_reduction;
        params.output_color = 1;        // sRGB
        params.output_bps = 16;         // numbers of light; the reader makes the sRGB curve
        params.no_auto_bright = 1;      // the file tells the exposure
        params.adjust_maximum_thr = 0;  // and the number of white
        params.use_fuji_rotate = 0;     // no picture is made larger
        params.user_flip = 0;           // the reader turns it
        params.raw_processing_options |= LIBRAW_PROCESSING_SKIP_MAKERNOTES;
        constexpr uint64_t kMost = 0x7FFFFFFF;
        params.max_raw_memory_mb =
            static_cast<unsigned>(std::min<uint64_t>(kMost, limits::kDecodedBytes / limits::kMebibyte));
    }

    // Calls a step of the library.
    template <class Step>
    void require(Step&& step) {
        const OneThread alone;
        int result = LIBRAW_UNSPECIFIED_ERROR;
        try {
            result = step();
        } catch (const std::bad_alloc&) {
            result = LIBRAW_UNSUFFICIENT_MEMORY;
        } catch (const PictureError&) {
            throw;
        } catch (...) {
            result = LIBRAW_DATA_ERROR;  // it throws numbers
        }
        switch (result) {
            case LIBRAW_SUCCESS:
                return;
            case LIBRAW_UNSUFFICIENT_MEMORY:
            case LIBRAW_TOO_BIG:
                throw PictureError(Failure::kTooLarge, "the raw picture takes more memory than there is");
            case LIBRAW_FILE_UNSUPPORTED:
            case LIBRAW_NOT_IMPLEMENTED:
                throw PictureError(Failure::kUnsupported,
                                   "this runtime does not read DNG data whose raw picture is stored in this way");
            case LIBRAW_IO_ERROR:
            case LIBRAW_CANCELLED_BY_CALLBACK:
                throw PictureError(Failure::kDamaged, "the raw picture ends early");
            default:
                throw PictureError(Failure::kDamaged,
                                   std::string("the raw picture makes no sense: ") + LibRaw::strerror(result));
        }
    }

    DngStructure structure;
    Recovery recovery;
    RawStream stream;
    LibRaw library;
};

RawDecoder::RawDecoder(const SharedSource& source, const DngStructure& structure, const DecodeOptions& options)
    : m_state(std::make_unique<State>(source, structure, options)) {
    LibRaw& library = m_state->library;
    m_state->require([&] { return library.open_datastream(&m_state->stream); });
    const libraw_image_sizes_t& sizes = library.imgdata.sizes;
    const Rect there{sizes.left_margin, sizes.top_margin, sizes.width, sizes.height};
    const bool gray = structure.form().color == ColorModel::kGray;
    if (library.imgdata.idata.dng_version == 0 || sizes.raw_width != structure.raw_width ||
        sizes.raw_height != structure.raw_height || there != structure.active ||
        gray != (library.imgdata.idata.colors == 1)) {
        throw PictureError(Failure::kUnsupported,
                           "this runtime does not read DNG data whose raw picture is stored in this way");
    }
}

RawDecoder::~RawDecoder() = default;

DngReport RawDecoder::report() const {
    const libraw_data_t& data = m_state->library.imgdata;
    DngReport report;
    report.version = data.idata.dng_version;
    report.make = text_of(data.idata.make);
    report.model = text_of(data.idata.model);
    report.software = text_of(data.idata.software);
    report.description = text_of(data.other.desc);
    report.artist = text_of(data.other.artist);
    if (data.idata.xmpdata != nullptr) {
        const std::string text(data.idata.xmpdata, data.idata.xmplen);
        report.xmp = text.substr(0, text.find('\0'));  // the library adds a zero
    }
    report.colors = text_of(data.idata.cdesc);
    report.colors_count = data.idata.colors;
    report.filters = data.idata.filters;
    report.raw_count = data.idata.raw_count;
    report.is_foveon = data.idata.is_foveon != 0;
    report.timestamp = data.other.timestamp;
    report.shot_order = data.other.shot_order;
    report.aperture = data.other.aperture;
    report.shutter_speed = data.other.shutter;
    report.focal_length = data.other.focal_len;
    report.iso_speed = data.other.iso_speed;
    std::copy_n(data.other.gpsdata, report.gps.size(), report.gps.begin());
    return report;
}

uint64_t RawDecoder::cost() const {
    const DngStructure& found = m_state->structure;
    constexpr uint64_t kSample = sizeof(uint16_t);
    constexpr uint64_t kColors = 4;
    const uint64_t raw_pixels =
        uint64_t{static_cast<uint32_t>(found.raw_width)} * static_cast<uint32_t>(found.raw_height);
    const uint64_t pixels =
        uint64_t{static_cast<uint32_t>(found.active.width)} * static_cast<uint32_t>(found.active.height);
    const bool reduces_noise = m_state->library.imgdata.params.fbdd_noiserd != 0;
    // Reducing noise works on pictures of three numbers for each pixel.
    constexpr uint64_t kNoise = 2 * 3 * sizeof(double);
    return raw_pixels * kSample * (found.linear ? kColors : 1) + pixels * kSample * kColors +
           (reduces_noise ? pixels * kNoise : 0);
}

void RawDecoder::decode() {
    LibRaw& library = m_state->library;
    m_state->require([&] { return library.unpack(); });
    if (library.error_count() > 0 && m_state->recovery != Recovery::kMaximal) {
        throw PictureError(Failure::kDamaged, "the raw picture is damaged");
    }
    m_state->require([&] { return library.dcraw_process(); });
    const libraw_image_sizes_t& sizes = library.imgdata.sizes;
    const Rect& active = m_state->structure.active;
    if (library.imgdata.image == nullptr || sizes.iwidth != active.width || sizes.iheight != active.height) {
        throw PictureError(Failure::kInternal, "the raw picture has another size than its file says");
    }
}

std::span<const uint16_t> RawDecoder::pixels() const {
    const LibRaw& library = m_state->library;
    assert(library.imgdata.image != nullptr);
    const size_t count = size_t{library.imgdata.sizes.iwidth} * library.imgdata.sizes.iheight;
    return {&library.imgdata.image[0][0], 4 * count};
}

}  // namespace zelmor::imagework

// Strips by the library's pool of threads; see strips.h.
#include "runtime/native/imagework/vips/strips.h"

#include <algorithm>
#include <cassert>
#include <exception>
#include <mutex>

#include "runtime/native/core/large_pages.h"
#include "runtime/native/imagework/vips/vips_support.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

constexpr int64_t kWorthThreads = int64_t{1} << 16;  // pixels; handing less than this to other threads takes longer

struct Job {
    const std::function<void(int, int)>& work;
    int rows;
    int rows_per_strip;
    int next = 0;  // asked for by one thread at a time
    std::mutex mutex;
    std::exception_ptr failure;
};

VipsThreadState* start_strips(VipsImage* image, void* context) {
    return vips_thread_state_new(image, context);
}

int next_strip(VipsThreadState* state, void* context, gboolean* stop) {
    auto& job = *static_cast<Job*>(context);
    if (job.next >= job.rows) {
        *stop = TRUE;
        return 0;
    }
    state->y = job.next;
    job.next += job.rows_per_strip;
    return 0;
}

int work_on_strip(VipsThreadState* state, void* context) {
    auto& job = *static_cast<Job*>(context);
    try {
        job.work(state->y, std::min(state->y + job.rows_per_strip, job.rows));
    } catch (...) {
        const std::lock_guard lock(job.mutex);
        if (job.failure == nullptr) {
            job.failure = std::current_exception();
        }
        return -1;
    }
    return 0;
}

int no_progress(void*) {
    return 0;
}

// `raster` tells the library how many threads are worth it.
void run_in_threads(const VImage& raster, int rows, int rows_per_strip, const std::function<void(int, int)>& call) {
    Job job{call, rows, rows_per_strip, 0, {}, nullptr};
    const int result =
        vips_threadpool_run(raster.get_image(), start_strips, next_strip, work_on_strip, no_progress, &job);
    if (job.failure != nullptr) {
        std::rethrow_exception(job.failure);
    }
    if (result != 0) {
        throw vips::VError();
    }
}

}  // namespace

VImage raster_like(const VImage& like, int width, int height, int bands, VipsBandFormat format) {
    check_picture_size(width, height, static_cast<int>(vips_format_sizeof(format)) * bands);
    VImage result = VImage::new_memory();
    VipsImage* image = result.get_image();
    if (vips_image_pipelinev(image, VIPS_DEMAND_STYLE_THINSTRIP, like.get_image(), nullptr) != 0) {
        throw vips::VError();
    }
    image->Xsize = width;
    image->Ysize = height;
    image->Bands = bands;
    image->BandFmt = format;
    image->Coding = VIPS_CODING_NONE;
    if (vips_image_write_prepare(image) != 0) {
        throw vips::VError();
    }
    embed::expect_writes(row_of(result, 0), VIPS_IMAGE_SIZEOF_IMAGE(image));
    return result;
}

void for_strips(const VImage& raster, int rows_per_strip, const std::function<void(int, int)>& strip_work) {
    assert(rows_per_strip > 0);
    const int rows = raster.height();
    if (rows <= rows_per_strip || int64_t{raster.width()} * rows < kWorthThreads) {
        for (int y = 0; y < rows; y += rows_per_strip) {
            strip_work(y, std::min(y + rows_per_strip, rows));
        }
        return;
    }
    run_in_threads(raster, rows, rows_per_strip, strip_work);
}

void for_blocks(size_t pixels, size_t block, const std::function<void(size_t, size_t)>& block_work) {
    assert(block > 0 && pixels / block < size_t{1} << 30);
    if (pixels <= block) {
        return block_work(0, pixels);
    }
    const auto blocks = static_cast<int>((pixels + block - 1) / block);
    // The library bounds the number of threads by the size of an image, whose pixels nobody looks at.
    const VImage size = VImage::new_memory();
    constexpr int kTile = 128;
    vips_image_init_fields(size.get_image(), kTile, kTile * blocks, 1, VIPS_FORMAT_UCHAR, VIPS_CODING_NONE,
                           VIPS_INTERPRETATION_MULTIBAND, 1, 1);
    run_in_threads(size, blocks, 1, [&](int begin, int end) {
        block_work(static_cast<size_t>(begin) * block, std::min(static_cast<size_t>(end) * block, pixels));
    });
}

}  // namespace zelmor::imagework

// The segmentation backend by OpenCV; see segmentation_backend.h.
//
// The library is kept to one thread: its pool of threads would not survive a fork, and sums in another order would give
// other results. Its random numbers, which place the first centers of a cut's colors, begin anew with each cut.
#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cassert>
#include <new>

#include "runtime/native/maskwork/segmentation_backend.h"

namespace zelmor::maskwork {
namespace {

static_assert(static_cast<int>(Side::kBackground) == cv::GC_BGD && static_cast<int>(Side::kObject) == cv::GC_FGD &&
              static_cast<int>(Side::kLikelyBackground) == cv::GC_PR_BGD &&
              static_cast<int>(Side::kLikelyObject) == cv::GC_PR_FGD);

constexpr uint64_t kSeed = 0x5EED;

// Runs work of the library; its exceptions, whose type must not leave this library, become those of the interface.
template <class Work>
void run(Work&& work) {
    try {
        work();
    } catch (const cv::Exception& error) {
        if (error.code == cv::Error::StsNoMem) {
            throw std::bad_alloc();
        }
        throw SegmentationError("the segmentation library failed: " + error.err);
    }
}

cv::Mat colors_of(const PictureView& picture) {
    assert(picture.argb.size() == static_cast<size_t>(picture.width) * static_cast<size_t>(picture.height));
    cv::Mat colors(picture.height, picture.width, CV_8UC3);
    const uint32_t* from = picture.argb.data();
    for (int y = 0; y < picture.height; ++y) {
        auto* to = colors.ptr<cv::Vec3b>(y);
        for (int x = 0; x < picture.width; ++x, ++from) {
            to[x] = {static_cast<uint8_t>(*from), static_cast<uint8_t>(*from >> 8), static_cast<uint8_t>(*from >> 16)};
        }
    }
    return colors;
}

class OpenCvCut final : public GraphCut {
 public:
    OpenCvCut(const PictureView& picture, std::vector<Side> sides) : m_sides(std::move(sides)) {
        assert(m_sides.size() == picture.argb.size());
        assert(std::any_of(m_sides.begin(), m_sides.end(), is_object) &&
               !std::all_of(m_sides.begin(), m_sides.end(), is_object));
        run([&] {
            m_colors = colors_of(picture);
            // Over the same memory: the library changes the sides in place.
            m_mask = cv::Mat(picture.height, picture.width, CV_8UC1, m_sides.data());
        });
    }

    size_t step() override {
        const std::vector<Side> before = m_sides;
        run([&] {
            cv::theRNG() = cv::RNG(kSeed);
            // The first step learns from the sides as they are given, later ones from those that the last one found.
            cv::grabCut(m_colors, m_mask, cv::Rect(), m_background, m_object, 1,
                        m_background.empty() ? cv::GC_INIT_WITH_MASK : cv::GC_EVAL);
        });
        size_t changed = 0;
        for (size_t i = 0; i < before.size(); ++i) {
            changed += is_object(before[i]) != is_object(m_sides[i]) ? 1 : 0;
        }
        return changed;
    }

    std::span<const Side> sides() const override { return m_sides; }

 private:
    std::vector<Side> m_sides;
    cv::Mat m_colors, m_mask, m_background, m_object;
};

class OpenCvBackend final : public Backend {
 public:
    OpenCvBackend() {
        cv::setNumThreads(1);
        cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
        // Failed assertions are exceptions; the library prints them to the error output otherwise.
        cv::redirectError([](int, const char*, const char*, const char*, int, void*) { return 0; });
    }

    std::unique_ptr<GraphCut> graph_cut(const PictureView& picture, std::vector<Side> sides) override {
        return std::make_unique<OpenCvCut>(picture, std::move(sides));
    }

    // The library's labels are positive, 0 stands for a pixel without one and -1 for the lines between basins, among
    // them the edge of the picture. The picture therefore gets a frame that repeats its edge.
    void watershed(const PictureView& picture, std::span<int32_t> labels) override {
        assert(labels.size() == picture.argb.size());
        run([&] {
            cv::Mat colors, markers(picture.height, picture.width, CV_32SC1, labels.data());
            markers += cv::Scalar(1);
            cv::copyMakeBorder(colors_of(picture), colors, 1, 1, 1, 1, cv::BORDER_REPLICATE);
            cv::Mat framed;
            cv::copyMakeBorder(markers, framed, 1, 1, 1, 1, cv::BORDER_CONSTANT, cv::Scalar(0));
            cv::watershed(colors, framed);
            framed(cv::Rect(1, 1, picture.width, picture.height)).copyTo(markers);
            fill_lines(markers);
            markers -= cv::Scalar(1);
        });
    }

    std::string library() const override { return "OpenCV " + cv::getVersionString(); }

 private:
    // A pixel of a line gets the label of a neighbor: that above it or left of it if these have one, otherwise the
    // next.
    static void fill_lines(cv::Mat& markers) {
        for (bool found = true; found;) {
            found = false;
            for (int y = 0; y < markers.rows; ++y) {
                for (int x = 0; x < markers.cols; ++x) {
                    int& label = markers.at<int>(y, x);
                    if (label > 0) {
                        continue;
                    }
                    constexpr int kSteps[][2] = {{0, -1}, {-1, 0}, {1, 0}, {0, 1}, {-1, -1}, {1, -1}, {-1, 1}, {1, 1}};
                    for (const auto& step : kSteps) {
                        const int nx = x + step[0], ny = y + step[1];
                        if (nx >= 0 && ny >= 0 && nx < markers.cols && ny < markers.rows &&
                            markers.at<int>(ny, nx) > 0) {
                            label = markers.at<int>(ny, nx);
                            found = true;
                            break;
                        }
                    }
                }
            }
        }
    }
};

}  // namespace
}  // namespace zelmor::maskwork

extern "C" __attribute__((visibility("default"))) zelmor::maskwork::Backend* zelmor_maskwork_backend() {
    static auto* const backend = new zelmor::maskwork::OpenCvBackend;  // never deleted: any thread may be using it
    return backend;
}

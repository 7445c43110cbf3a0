// Keeps the color quantizer to one thread where it runs on ours: for indexed PNG, and for BMP with a palette.
//
// It works with OpenMP, whose threads spin while they wait for each other: on a busy machine a small picture takes ten
// times as long with them, and in a forked process, which lacks them, it never ends. (GIF is quantized on a thread of
// the image library, which begins anew in a forked process.)
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_QUANTIZER_THREADS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_QUANTIZER_THREADS_H

// Part of the runtime library of OpenMP, which is there if the quantizer was built with it.
extern "C" {
__attribute__((weak)) void omp_set_num_threads(int count);
__attribute__((weak)) int omp_get_max_threads();
}

namespace zelmor::imagework {

class OneQuantizerThread {
 public:
    OneQuantizerThread() {
        if (omp_get_max_threads == nullptr || omp_set_num_threads == nullptr) {
            return;
        }
        m_before = omp_get_max_threads();
        omp_set_num_threads(1);
    }
    ~OneQuantizerThread() {
        if (m_before > 0) {
            omp_set_num_threads(m_before);
        }
    }
    OneQuantizerThread(const OneQuantizerThread&) = delete;
    OneQuantizerThread& operator=(const OneQuantizerThread&) = delete;

 private:
    int m_before = 0;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_QUANTIZER_THREADS_H

// Memory of rows that pass by: a decoder fills it from the top, a reader takes the rows behind it, and the memory of
// rows that were taken goes back at once. So a picture that is decoded and copied is not in memory twice.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_PASSING_ROWS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_PASSING_ROWS_H

#include <cstddef>
#include <cstdint>

namespace zelmor::imagework {

class PassingRows {
 public:
    PassingRows() = default;
    // Address space for so many bytes; memory is taken where they are written. PictureError(kInternal) where there is
    // none.
    explicit PassingRows(size_t size);
    ~PassingRows();
    PassingRows(const PassingRows&) = delete;
    PassingRows& operator=(const PassingRows&) = delete;
    PassingRows(PassingRows&& other) noexcept;
    PassingRows& operator=(PassingRows&& other) noexcept;

    uint8_t* data() { return m_data; }
    // The bytes up to there are not read again.
    void give_back(size_t end);

 private:
    uint8_t* m_data = nullptr;
    size_t m_size = 0;
    size_t m_given_back = 0;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_PASSING_ROWS_H

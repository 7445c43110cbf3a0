// The rows of an image as packed colors of 8 bits a channel.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ARGB_ROWS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ARGB_ROWS_H

#include <span>

#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

class ArgbRows {
 public:
    // Of an image that is gray or RGB, with or without alpha; 16 bits give their upper 8.
    explicit ArgbRows(const vips::VImage& image);

    size_t width() const { return static_cast<size_t>(m_image.width()); }
    size_t height() const { return static_cast<size_t>(m_image.height()); }
    size_t pixels() const { return width() * height(); }

    void read(int y, Argb* to) const;

    // Calls take(row) for each row from the top on, as long as it returns true; tells whether it always did.
    template <class Take>
    bool each(Take&& take) const {
        std::vector<Argb> row(width());
        for (int y = 0; y < m_image.height(); y++) {
            read(y, row.data());
            if (!take(std::span<const Argb>(row))) {
                return false;
            }
        }
        return true;
    }

 private:
    vips::VImage m_image;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ARGB_ROWS_H

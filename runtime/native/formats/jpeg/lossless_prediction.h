// What lossless JPEG foretells of a sample by its neighbors (ITU-T T.81, table H.1), for its decoder and its encoder.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_LOSSLESS_PREDICTION_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_LOSSLESS_PREDICTION_H

#include <cstdint>

namespace zelmor::imagework {

// `predictor` is 1 to 7. `left` is of the same row, `above` and `corner` (above `left`) are of the one before.
inline int32_t predicted_sample(int predictor, int32_t left, int32_t above, int32_t corner) {
    switch (predictor) {
        case 1:
            return left;
        case 2:
            return above;
        case 3:
            return corner;
        case 4:
            return left + above - corner;
        case 5:
            return left + ((above - corner) >> 1);
        case 6:
            return above + ((left - corner) >> 1);
        default:
            return (left + above) >> 1;
    }
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_LOSSLESS_PREDICTION_H

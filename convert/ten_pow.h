// Powers of ten for the decimal builders.
#ifndef ZELMOR_CONVERT_TEN_POW_H
#define ZELMOR_CONVERT_TEN_POW_H

#include <cassert>

// 10 to the power of n, for n from 0 to 19: what 64 bits hold.
class TenPow {
 public:
    static constexpr unsigned long pow(unsigned int n) {
        assert(n <= 19);
        unsigned long result = 1;
        for (unsigned long base = 10; n != 0; n >>= 1, base *= base) {
            if ((n & 1) != 0) {
                result *= base;
            }
        }
        return result;
    }
};

#endif  // ZELMOR_CONVERT_TEN_POW_H

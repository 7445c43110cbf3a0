// Division of the managed decimal's mantissa into digits.
#include "convert/decimal_arg_in_builder.h"

#include <algorithm>
#include <cassert>
#include <cstdint>

void DecimalArgInBuilder::assign() {
    assert(m_record != nullptr);
    do {
        uint64_t remainder = 0;
        for (int i = 2; i >= 0; --i) {
            const uint64_t part = remainder << 32 | m_record[i];
            m_record[i] = static_cast<unsigned int>(part / 10);
            remainder = part % 10;
        }
        assert(static_cast<size_t>(m_length) < m_digits.size());
        m_digits[static_cast<size_t>(m_length++)] = static_cast<unsigned char>(remainder);
    } while ((m_record[0] | m_record[1] | m_record[2]) != 0);
    std::reverse(m_digits.begin(), m_digits.begin() + m_length);
    m_scale = static_cast<int>(m_record[3] >> 16 & 0xFF);
    m_sign = static_cast<int>(m_record[3] >> 31);
}

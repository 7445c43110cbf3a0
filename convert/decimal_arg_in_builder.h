// Takes a managed decimal apart into its digits.
#ifndef ZELMOR_CONVERT_DECIMAL_ARG_IN_BUILDER_H
#define ZELMOR_CONVERT_DECIMAL_ARG_IN_BUILDER_H

#include <array>

class DecimalArgInBuilder {
 public:
    // Reads the record of four words and overwrites it: its mantissa is zero afterwards.
    explicit DecimalArgInBuilder(unsigned int* record) : m_record(record) { assign(); }

    // The digits, most significant first, one byte each; at least one.
    const unsigned char* mantissa_cbegin() const { return m_digits.data(); }
    int mantissa_length() const { return m_length; }
    // The power of ten of the last digit, 0 or below.
    int exponent() const { return -m_scale; }
    int sign() const { return m_sign; }

 private:
    void assign();

    unsigned int* m_record;
    std::array<unsigned char, 29> m_digits{};  // 2^96 has 29
    int m_length = 0;
    int m_scale = 0;
    int m_sign = 0;
};

#endif  // ZELMOR_CONVERT_DECIMAL_ARG_IN_BUILDER_H

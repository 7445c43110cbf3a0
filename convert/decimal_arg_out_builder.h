// Builds the managed decimal out of the digits of a Python decimal: a 96-bit mantissa, a sign, a scale from 0 to 28.
//
// The digits are added in groups of up to nine, which fit 32 bits, so that no big integer is needed. Nothing here knows
// Python; decimal.cpp cuts the digits into groups.
#ifndef ZELMOR_CONVERT_DECIMAL_ARG_OUT_BUILDER_H
#define ZELMOR_CONVERT_DECIMAL_ARG_OUT_BUILDER_H

inline constexpr int kMaxDigits = 29;  // of a 96-bit mantissa
inline constexpr int kGroupWidth = 9;  // digits of a group

// The record on the wire is four words: mantissa low, middle, high, then flags.
class DecimalArgOutBuilder {
 public:
    // Zeroes the record that is to be filled.
    explicit DecimalArgOutBuilder(unsigned int* target);

    // Begins a number. `exponent` is the power of ten of the last digit that is kept. The digit number `round_position`
    // is rounded off; -1 means that none is.
    void begin_accept_decimal(int sign, long long exponent, int round_position);
    // The next `width` digits, 1 to 9, as one number.
    void accept_decimal_mantissa(unsigned long group, int width);
    // Writes sign and scale; false if the value does not fit.
    bool end_accept_decimal();

    // Numbers of other kinds. The managed side knows these forms, but no converter builds them.
    int accept_long(long long value, int sign);
    int accept_double(double value);

    // The greatest mantissa to which two more digits can be added: the two digits, then high word last.
    static constexpr unsigned int est_max_value[4] = {35, 687194767, 4123168604, 42949672};

 private:
    void imul_and_add(unsigned int multiplier, unsigned int addend);
    void round_last(unsigned long& group, unsigned long limit);
    bool is_overflow_estimated(unsigned long group) const;
    bool is_zero() const;
    void move_exponent_to_mantissa();

    unsigned int* m_target;
    bool m_overflow = false;  // once set, never cleared
    int m_round_position = -1;
    long long m_exponent = 0;
    int m_sign = 0;
    int m_accepted_digits = 0;
};

#endif  // ZELMOR_CONVERT_DECIMAL_ARG_OUT_BUILDER_H

// What an inch is in units of the metric system: files tell resolutions and sizes in both.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_UNITS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_UNITS_H

namespace zelmor {

constexpr double kMetersPerInch = 0.0254;
constexpr double kCentimetersPerInch = 2.54;
constexpr double kMillimetersPerInch = 25.4;

}  // namespace zelmor

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_UNITS_H

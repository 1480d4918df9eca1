// Resolutions and sizes, by the rules of the library: whole dots per inch, whole pixels per metre.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace dibprep::tool {

constexpr std::uint32_t LargestDpi = 65535;

// The dots per inch that the pipeline reads from a header; beyond LargestDpi it cannot use them.
inline std::uint64_t DotsPerInch(std::int32_t pixelsPerMetre) {
    return pixelsPerMetre <= 0 ? 0 : (static_cast<std::uint64_t>(pixelsPerMetre) + 1) * 254 / 10000;
}

// What the pipeline records for a resolution in dots per inch: 300 gives 11811, 150 gives 5905. Every
// value reads back as the same dots per inch.
inline std::int32_t PipelinePixelsPerMetre(std::uint32_t dpi) {
    return static_cast<std::int32_t>(static_cast<std::uint64_t>(dpi) * 10000 / 254);
}

// The nearest one: 150 gives 5906, so that a page of 2480 pixels at 300 dpi has 1240 at 150.
inline std::int32_t PixelsPerMetre(std::uint32_t dpi) {
    return static_cast<std::int32_t>((static_cast<std::uint64_t>(dpi) * 10000 + 127) / 254);
}

// The nearest pixels per metre for a number that a file records per inch or per centimetre; 0, none, where
// it is no sensible number.
inline std::int32_t NearestPixelsPerMetre(double number, double perMetre) {
    const double value = number * perMetre;
    if (!(value > 0))
        return 0;
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): positive, and small enough that a half is exact
    return value < 2147483647 ? static_cast<std::int32_t>(value + 0.5) : 2147483647;
}
inline std::int32_t FromDotsPerInch(double number) { return NearestPixelsPerMetre(number, 10000 / 254.0); }
inline std::int32_t FromDotsPerCentimetre(double number) { return NearestPixelsPerMetre(number, 100); }

// The whole dots per inch that these pixels per metre stand for, or 0 where they stand for none: 5905
// and 5906 are 150, and 7280, which is 184.9, is written per centimetre.
inline std::uint32_t WholeDpi(std::int32_t pixelsPerMetre) {
    const std::uint64_t dpi = DotsPerInch(pixelsPerMetre);
    if (dpi == 0 || dpi > LargestDpi)
        return 0;
    const auto whole = static_cast<std::uint32_t>(dpi);
    return PixelsPerMetre(whole) == pixelsPerMetre || PipelinePixelsPerMetre(whole) == pixelsPerMetre ? whole : 0;
}

// Pixels that a side of `extent` has after a change from one resolution to another.
inline std::uint64_t ScaledExtent(std::uint64_t extent, std::uint64_t wanted, std::uint64_t recorded) {
    return extent * wanted / recorded;
}

// "300 dpi", or "300 x 150 dpi" where the axes differ, or "no resolution".
inline std::string ResolutionText(std::int32_t xPixelsPerMetre, std::int32_t yPixelsPerMetre) {
    if (xPixelsPerMetre <= 0 || yPixelsPerMetre <= 0)
        return "no resolution";
    const std::string x = std::to_string(DotsPerInch(xPixelsPerMetre));
    const std::string y = std::to_string(DotsPerInch(yPixelsPerMetre));
    return (x == y ? x : x + " x " + y) + " dpi";
}

// "11811 pixels per metre", or empty where none are recorded.
inline std::string PerMetreText(std::int32_t x, std::int32_t y) {
    if (x <= 0 || y <= 0)
        return "";
    return std::to_string(x) + (x == y ? "" : " x " + std::to_string(y)) + " pixels per metre";
}

// A resolution as a file has it: "72.8 x 72 dots per centimetre".
inline std::string StoredResolutionText(double x, double y, bool perCentimetre) {
    const auto text = [](double number) {
        char digits[40]; // as many as a file's 32 bits carry
        std::snprintf(digits, sizeof digits, "%.7g", number);
        return std::string(digits);
    };
    return text(x) + (x == y ? "" : " x " + text(y)) + (perCentimetre ? " dots per centimetre" : " dots per inch");
}

// "8 700 918"
inline std::string Grouped(std::uint64_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3; at -= 3)
        digits.insert(at - 3, " ");
    return digits;
}

inline std::string SizeText(std::uint64_t width, std::uint64_t height) {
    return std::to_string(width) + " x " + std::to_string(height) + " pixels";
}

} // namespace dibprep::tool

// The limits of the embedded runtime: how much memory and time a file may make it use.
//
// A size or a count in a file is only a claim of whoever wrote the file. It is compared with a limit of this table
// before memory is taken for it, and what exceeds the limit is refused or left out. All checks take their numbers from
// here. Limits that a file format itself states, such as 65535 pixels to a side in JPEG, are facts of that format and
// stand in its codec.
//
// docs/images.md lists for users the limits that they can meet.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_LIMITS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_LIMITS_H

#include <cstddef>
#include <cstdint>

namespace zelmor::imagework::limits {

constexpr uint64_t kMebibyte = uint64_t{1} << 20;

// --- Pictures -------------------------------------------------------------------------------------------------------

// Pixels to a side. Products of two sides and a pixel's size stay below 2^53, so that they are exact everywhere.
constexpr int64_t kSide = 10'000'000;
// Bytes of one managed array: the pixels of a picture as one array, the value of one tag.
constexpr int64_t kArrayBytes = 0x7FFFFFFF;
// Bytes of decoded pixels that one image may hold at a time, over all of its frames, unless the program sets another
// limit (memory_budget.h).
constexpr uint64_t kDecodedBytes = 4096 * kMebibyte;
// Bytes of an animation's canvases that are kept to make its next frames quicker, besides the last one.
constexpr uint64_t kCanvasBytes = 64 * kMebibyte;
// Frames of an animation, pages of a document.
constexpr uint64_t kFrames = uint64_t{1} << 20;
// Bits of one sample, samples of one pixel.
constexpr uint64_t kBitsOfSample = 64;
constexpr uint64_t kSamplesOfPixel = 64;
// Pixels to a side of a tile.
constexpr uint64_t kTileSide = uint64_t{1} << 15;
// Bytes of one tile, or of a strip that is decoded as a whole, before and after it is decoded.
constexpr uint64_t kTileBytes = 256 * kMebibyte;
// Scans of a JPEG file, and the blocks of 8 by 8 coefficients that all of them consist of. A scan of a few bytes can go
// over all blocks of a picture.
constexpr int kJpegScans = 100;
constexpr uint64_t kJpegBlocks = uint64_t{1} << 30;
// Bytes that a codec's library may ask for at once, besides what is no larger than the file itself.
constexpr uint64_t kCodecBytes = 256 * kMebibyte;

// --- Drawings -------------------------------------------------------------------------------------------------------

// Pixels that a stroke of an SVG document is wide, and dashes of all strokes. Wider strokes have circles of so many
// corners that memory and time have no end; a dash takes a third of a microsecond and some 60 bytes.
constexpr double kStrokeWidth = 1e9;
constexpr double kDashes = 3e6;
// Pixels of a font's height: the library that draws text ends the process where a line is higher than two million.
constexpr double kFontSize = 1e6;
// Octaves of a turbulence. Each has half the height of the one before, so that the ninth is not seen in 8 bits.
constexpr double kOctaves = 64;

// --- Finding the header and the end of a picture in a file ----------------------------------------------------------

// Bytes that are looked at for the header. A chain of markers can go on for ever.
constexpr uint64_t kHeaderBytes = kMebibyte;
// Bytes that are read and skipped for the header, of a stream that cannot seek.
constexpr uint64_t kSkippedBytes = 64 * kMebibyte;
// The greatest offset in a file that is asked for.
constexpr uint64_t kOffset = uint64_t{1} << 40;
// Bytes of a picture's file besides its pixels: texts, profiles, thumbnails.
constexpr uint64_t kTextBytes = 64 * kMebibyte;
// Bytes that memory is reserved for on the claim of a file, before any of them have come.
constexpr uint64_t kReservedBytes = 64 * kMebibyte;

// Chunks of one PNG file, and extensions of one GIF file. Each takes a few bytes, so that the size of a file is no
// bound of the steps that a walk over them takes; frames, of which each has two chunks or more, have a limit of their
// own.
constexpr uint64_t kChunks = uint64_t{1} << 22;

// Files that are kept open for the pixels of images, of the 1024 that a process usually may have. Beyond that files are
// read into memory when they are loaded.
constexpr size_t kOpenFiles = 256;

// --- TIFF directories, of pictures and of EXIF ----------------------------------------------------------------------

// Directories of one file, those below pages included.
constexpr size_t kDirectories = size_t{1} << 21;
// Entries of one directory. A classic directory cannot have more, a BigTIFF one could.
constexpr uint64_t kEntries = uint64_t{1} << 16;
// Entries of all directories of one file. Directories may lie over each other, so that the size of the file is no
// bound of its own.
constexpr uint64_t kAllEntries = uint64_t{1} << 24;
// Bytes of the values of all tags of metadata that are read from one file. Values may lie over each other as well, and
// as objects they take many times these bytes.
constexpr uint64_t kTagBytes = 64 * kMebibyte;

// --- Metadata -------------------------------------------------------------------------------------------------------

// Texts, comments and blocks of metadata that are read of one file. An empty one takes four bytes in a file, and many
// times as many in memory.
constexpr uint64_t kTexts = uint64_t{1} << 16;
// Bytes that a compressed text or profile may become.
constexpr size_t kInflatedBytes = 64 * kMebibyte;
// Bytes of one ICC profile.
constexpr size_t kProfileBytes = 64 * kMebibyte;
// Bytes of one XMP packet.
constexpr size_t kXmpBytes = 64 * kMebibyte;
// How deep the elements of XMP nest (far below the depth that would use up the stack), and how many elements and
// attributes a packet has.
constexpr size_t kXmpDepth = 256;
constexpr size_t kXmpElements = 1'000'000;

// --- Drawings of lines and text -------------------------------------------------------------------------------------

// Elements, attributes and pieces of text of one XML file, and how deep elements, groups and formulas nest.
constexpr uint64_t kDrawingNodes = uint64_t{1} << 21;
constexpr size_t kDrawingDepth = 256;
// Lines, tiles and steps that one fill is drawn with.
constexpr int64_t kFillSteps = 100'000;
// Seconds and bytes that the parser of a drawing may take.
constexpr int kDrawingSeconds = 20;
constexpr uint64_t kDrawingBytes = 1024 * kMebibyte;
// The same of a PostScript program.
constexpr int kPostScriptSeconds = 20;
constexpr uint64_t kPostScriptBytes = 2048 * kMebibyte;
// The same of the filters and masks of an SVG document.
constexpr int kSvgSeconds = 20;
constexpr uint64_t kSvgBytes = 2048 * kMebibyte;

// --- Files that are written over ------------------------------------------------------------------------------------

// Bytes of a file that is written over while images still need its old content: up to so many are kept in memory, which
// is less than the decoded picture takes; more of them go to a temporary file, since the picture may never be decoded.
constexpr uint64_t kKeptFileBytes = 64 * kMebibyte;

// --- Arguments of calls ---------------------------------------------------------------------------------------------

// Page numbers that a range of pages may stand for.
constexpr int32_t kPageNumbers = 10'000'000;

}  // namespace zelmor::imagework::limits

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_LIMITS_H

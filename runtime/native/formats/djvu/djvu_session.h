// One document that DjVuLibre has open, and its pages.
//
// The library decodes in threads of its own and reports by messages. A session waits for it, for a limited time, and
// leaves no thread behind.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DJVU_DJVU_SESSION_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DJVU_DJVU_SESSION_H

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "runtime/native/formats/djvu/djvu_codec.h"
#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::imagework {

class DjvuSession;

enum class DjvuPixels : uint8_t { kGray, kRgb };

// A page that is decoded as far as its data go. Any thread may call the members.
class DjvuDecodedPage {
 public:
    // Decodes. With `lenient`, errors count only where nothing can be shown. PictureError(kDamaged).
    DjvuDecodedPage(std::shared_ptr<DjvuSession> session, int number, bool lenient);
    ~DjvuDecodedPage();
    DjvuDecodedPage(const DjvuDecodedPage&) = delete;
    DjvuDecodedPage& operator=(const DjvuDecodedPage&) = delete;

    // Draws rows of the page as a picture of that size. False where the page has no such layer.
    bool draw(DjvuLayer layer, int32_t width, int32_t height, int32_t first, int32_t count, DjvuPixels pixels,
              std::span<uint8_t> rows) const;

 private:
    struct State;
    std::unique_ptr<State> m_state;
};

class DjvuSession {
 public:
    // The document in the given pieces of the file, behind the magic number. PictureError(kDamaged).
    DjvuSession(const DataSource& source, uint64_t at, uint64_t size);
    ~DjvuSession();
    DjvuSession(const DjvuSession&) = delete;
    DjvuSession& operator=(const DjvuSession&) = delete;

    std::vector<DjvuWord> words(int page, int32_t page_height);

 private:
    friend class DjvuDecodedPage;
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DJVU_DJVU_SESSION_H

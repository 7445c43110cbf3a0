// Start of the image library; see vips_start.h.
#include "runtime/native/imagework/vips/vips_start.h"

#include <cstdlib>
#include <string>

#include <vips/vips.h>

#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/vips/after_fork.h"

namespace zelmor::imagework {
namespace {

// While it lives, the library looks for its loadable modules where there are none. They serve formats that are not
// offered here, and loading them takes longer than all the rest of the start.
class WithoutModules {
 public:
    WithoutModules() : m_present(std::getenv(kVariable) != nullptr) {
        if (!m_present) {
            setenv(kVariable, "/nonexistent", 0);
        }
    }
    ~WithoutModules() {
        if (!m_present) {
            unsetenv(kVariable);
        }
    }
    WithoutModules(const WithoutModules&) = delete;
    WithoutModules& operator=(const WithoutModules&) = delete;

 private:
    static constexpr const char* kVariable = "VIPSHOME";
    bool m_present;
};

// What the library has to say beside its errors is not for the terminal of the program that we are a guest of.
void discard_message(const gchar*, GLogLevelFlags, const gchar*, gpointer) {}

}  // namespace

void start_vips() {
    static const bool started = [] {
        WithoutModules without_modules;
        if (vips_init("zelmor") != 0) {
            std::string text = vips_error_buffer();
            vips_error_clear();
            throw PictureError(Failure::kInternal, "the image library could not be started: " + text);
        }
        // A result that is kept by the operation's arguments would survive a change of the pixels in place.
        vips_cache_set_max(0);
        watch_forks();
        g_log_set_handler("VIPS",
                          static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_INFO | G_LOG_LEVEL_MESSAGE |
                                                      G_LOG_LEVEL_DEBUG),
                          discard_message, nullptr);
        return true;
    }();
    (void)started;
}

}  // namespace zelmor::imagework

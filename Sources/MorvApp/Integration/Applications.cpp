#include "MorvApp/Integration/Applications.h"

#include "MorvCore/Foundation/Errors.h"

#include <gio/gio.h>
#include <memory>
#include <string>

namespace morv {

void openWithDefaultApplication(const FileURL& url) {
    GError* failure = nullptr;
    if (g_app_info_launch_default_for_uri(url.absoluteString().c_str(), nullptr, &failure) == TRUE)
        return;
    const std::unique_ptr<GError, decltype(&g_error_free)> owned(failure, &g_error_free);
    throw FileOperationError::unavailable(failure ? failure->message
                                                  : "The default application could not be opened.");
}

} // namespace morv

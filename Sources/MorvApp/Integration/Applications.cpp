#include "MorvApp/Integration/Applications.h"

#include "MorvApp/Integration/GObjects.h"
#include "MorvCore/Foundation/Errors.h"

namespace morv {

void openWithDefaultApplication(const FileURL& url) {
    GFailure failure;
    if (g_app_info_launch_default_for_uri(url.absoluteString().c_str(), nullptr, failure) == FALSE)
        throw FileOperationError::unavailable(
            failure.sentence("The default application could not be opened."));
}

} // namespace morv

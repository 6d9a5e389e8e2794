// What must be known before the record store opens: an INI file, "Morv.conf" in the configuration folder.
// Confined to the main thread. A file that cannot be read or written is as good as none.
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <QSettings>
#include <optional>
#include <string>

namespace morv {

class UserDefaults {
public:
    explicit UserDefaults(const FileURL& file);

    /// The bytes of the path of the last folder browsed.
    std::optional<FileURL> lastLocation() const;
    void setLastLocation(const FileURL& folder);

    /// "light", "dark" or "system".
    std::string appearance() const;

private:
    QSettings settings_;
};

} // namespace morv

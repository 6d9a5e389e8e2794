// The marks that say where a downloaded file came from: what is extracted from it came from there, too.
//
// Marks       "user.xdg.origin.url" and "user.xdg.referrer.url" (freedesktop.org, "Common Extended
//             Attributes"), as browsers set them, and "user.com.apple.quarantine" of files that came from
//             elsewhere; each of at most 16,384 bytes
// Threading   immutable; safe to share
#pragma once

#include <stop_token>
#include <string>
#include <utility>
#include <vector>

namespace morv {

class QuarantineMarks {
public:
    /// Those of the open file; none on a volume that keeps no attributes. Throws FileOperationError:
    /// unavailable, unsupported or changed.
    static QuarantineMarks of(int file);

    /// Sets them on the open folder `staging` and on everything below it; without marks nothing is looked
    /// at. Throws FileOperationError::unavailable, and as ExtractedTree::forEachItem.
    void setOnTree(int staging, const std::stop_token& stop) const;

private:
    std::vector<std::pair<std::string, std::string>> marks_;
};

} // namespace morv

// What a rename of several items by a template will call each of them, while the template is still being typed.
// The planner's own rules; the plan that follows decides. Changes nothing. Threading   stateless; asks the disk
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace morv {

/// `pattern` with every "{name}" replaced by the source's name without extension, then every "{ext}" by its
/// extension without the dot, then every "{n}" by `number`. Not checked.
std::string nameFromPattern(std::string_view pattern, const FileURL& source, std::size_t number);

struct RenamePreview {
    enum class Problem : std::uint8_t {
        none,
        taken,     ///< an item on disk or an earlier one of the selection has the name: it gets a number
        unchanged, ///< the plan is refused: the item is already called so
        forbidden, ///< the plan is refused: no file may have this name
    };

    std::string name; ///< as the pattern says, bytes
    Problem problem = Problem::none;

    bool refusesPlan() const { return problem == Problem::unchanged || problem == Problem::forbidden; }
};

/// One for each source, in their order; the first has the number 1. With one source `pattern` is the name as it
/// stands. Throws CancellationError.
std::vector<RenamePreview> previewRename(const std::vector<FileURL>& sources, std::string_view pattern,
                                         const std::stop_token& stop);

} // namespace morv

// A proposal to file loose files into folders named after their kind. It moves nothing: what the user accepts
// becomes ordinary moves of the engine, which checks everything again.
//
// Threading   stateless; a plan may be stale the moment it is returned
#pragma once

#include "MorvCore/Folders/FileEntry.h"

#include <string>
#include <string_view>
#include <vector>

namespace morv {

/// One move that could be made.
struct TidyProposal {
    FileURL source;
    FileURL destination; ///< the file's own new place, with its name
    FileKind kind = FileKind::other;
    bool hasCollision = false; ///< the place is taken, on disk or by an earlier proposal

    friend bool operator==(const TidyProposal&, const TidyProposal&) = default;
};

/// What stays where it is.
struct TidyExclusion {
    FileURL source;
    std::string reason; ///< a sentence

    friend bool operator==(const TidyExclusion&, const TidyExclusion&) = default;
};

/// Both lists are in the canonical listing order of the entries.
struct TidyPlan {
    std::vector<TidyProposal> proposals;
    std::vector<TidyExclusion> exclusions;

    friend bool operator==(const TidyPlan&, const TidyPlan&) = default;
};

std::string toJSON(const TidyProposal& proposal);
std::string toJSON(const TidyExclusion& exclusion);
std::string toJSON(const TidyPlan& plan);
/// Each throws DecodingError.
void fromJSON(std::string_view text, TidyProposal& proposal);
void fromJSON(std::string_view text, TidyExclusion& exclusion);
void fromJSON(std::string_view text, TidyPlan& plan);

namespace TidyPlanner {

/// Where each of `entries` would go below `destination`, the folder in which the kind folders are to stand.
/// A name that is already taken there, also by a link that leads nowhere, is a collision, and so is one that
/// cannot be looked up. Two proposals for names that a user cannot tell apart collide too: the first in order
/// keeps the plain name. A proposal with a collision remains a proposal.
TidyPlan plan(std::vector<FileEntry> entries, const FileURL& destination);

} // namespace TidyPlanner

} // namespace morv

// What the inspector says of an item, in words. Stateless; main thread.
#pragma once

#include "MorvApp/Model/InspectorModel.h"
#include "MorvApp/Views/Inspector/FactList.h"

#include <vector>

namespace morv {

/// "PDF document · 1.8 MB"; of a folder how much it holds, as far as that is known.
QString kindLine(const ItemInformation& information, const std::optional<FolderInsight>& insight);
/// Size, place and times.
std::vector<Fact> generalFacts(const ItemInformation& information,
                               const std::optional<FolderInsight>& insight);
std::vector<Fact> permissionFacts(const ItemInformation& information);
/// Links, origin, volume.
std::vector<Fact> furtherFacts(const ItemInformation& information);
/// What the item is beyond its kind: hidden, in the cloud, a link that leads nowhere. Empty: nothing to say.
QString noteLine(const ItemInformation& information);

/// "3 folders and 12 files", "12 items".
QString countLine(const SelectionSummary& summary);
std::vector<Fact> summaryFacts(const SelectionSummary& summary);

} // namespace morv

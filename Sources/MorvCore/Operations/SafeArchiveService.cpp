#include "MorvCore/Operations/SafeArchiveService.h"

#include "MorvCore/Foundation/Cancellation.h"
#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Operations/CheckedArchive.h"

namespace morv::SafeArchiveService {

std::string toJSON(const Entry& entry) {
    const json::Value value = {
        {"name", entry.name}, {"size", entry.size}, {"isDirectory", entry.isDirectory}};
    return value.dump(-1, ' ', true);
}

void validate(const FileURL& url, const std::stop_token& stop) {
    const CheckedArchive archive(url, stop);
}

void entries(const FileURL& url, const std::stop_token& stop,
             const std::function<void(const Entry&)>& visit) {
    const CheckedArchive archive(url, stop);
    CheckedArchive::Reader reader(archive,
                                  "The archive changed while it was being checked. Nothing was extracted.");
    for (const auto& member : archive.members()) {
        checkCancelled(stop);
        visit({std::string(reader.name(member)), member.size, member.isDirectory});
    }
}

} // namespace morv::SafeArchiveService

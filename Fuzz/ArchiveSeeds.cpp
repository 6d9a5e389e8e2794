// ArchiveSeeds TARGET FOLDER: writes files to begin with, one for each part of the format that TARGET reads.
#include "MorvCore/Operations/AppleDouble.h"
#include "Tests/Support/ArchiveBuilder.h"

#include <fstream>
#include <string>
#include <vector>

namespace {

using namespace morv;
using namespace morv::test;

std::vector<std::string> archives() {
    const ArchiveMember folder{.name = "folder/", .data = "", .mode = 040755};
    const ArchiveMember quoted{.name = "inner", .data = "x"};
    const std::vector<ArchivePlan> plans = {
        {},
        {.members = {{}}},
        {.members = {folder, {.name = "folder/caf\u00E9", .method = 8}, {.name = "other", .data = ""}}},
        {.members = {{.centralExtra = extraField(0x5455, "12345"),
                      .localExtra = extraField(0x7875, "1234")}}},
        {.members = {{.name = "a", .comment = "of a member"}, {.name = "a/b"}}, .comment = "of the archive"},
        {.members = {{.name = "A"}, {.name = "a"}}, .gap = "gap"},
        {.members = {{.name = "outer", .data = localRecord(quoted)}, quoted}},
        {.members = {{.mode = 0120777}, {.name = "../up"}, {.flags = 1}}, .comment = archiveBytes({})},
    };
    std::vector<std::string> result;
    for (const auto& plan : plans)
        result.push_back(archiveBytes(plan));
    return result;
}

std::vector<std::string> attributeFiles() {
    return {AppleDouble::encode({}), AppleDouble::encode({{"user.a", "1"}, {"user.xdg.comment", "words"}}),
            AppleDouble::encode({{"user.com.apple.FinderInfo", std::string(32, 'i')},
                                 {"user.com.apple.ResourceFork", "fork"}})};
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3)
        return 2;
    int number = 0;
    for (const auto& bytes :
         arguments[1] == std::string("AppleDoubleBytes") ? attributeFiles() : archives()) {
        std::ofstream file(std::string(arguments[2]) + "/seed" + std::to_string(++number), std::ios::binary);
        file << bytes;
        if (!file.flush())
            return 1;
    }
    return 0;
}

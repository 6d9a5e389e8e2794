// ArchiveSeeds TARGET FOLDER: writes files to begin with, one for each part of the format that TARGET reads.
#include "MorvCore/Operations/AppleDouble.h"
#include "Tests/Support/ArchiveBuilder.h"

#include <fstream>
#include <string>
#include <string_view>
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

/// Three bytes that say which method and which lies, then the data.
std::vector<std::string> members() {
    std::vector<std::string> result = {std::string("\1\0\0", 3) + "stored",
                                       std::string("\1\1\0", 3) + "stored"};
    for (const auto& content : {std::string(), std::string("text text text"), std::string(600'000, 'x')})
        result.push_back(std::string(3, '\0') + deflated("m", content).data);
    return result;
}

std::vector<std::string> seedsFor(std::string_view target) {
    return target == "AppleDoubleBytes" ? attributeFiles()
           : target == "ArchiveMembers" ? members()
                                        : archives();
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3)
        return 2;
    int number = 0;
    for (const auto& bytes : seedsFor(arguments[1])) {
        std::ofstream file(std::string(arguments[2]) + "/seed" + std::to_string(++number), std::ios::binary);
        file << bytes;
        if (!file.flush())
            return 1;
    }
    return 0;
}

// ArchiveSeeds FOLDER: writes archives to begin with, one for each part of the format.
#include "Tests/Support/ArchiveBuilder.h"

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

int main(int count, char** arguments) {
    using namespace morv::test;
    if (count != 2)
        return 2;
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
    int number = 0;
    for (const auto& plan : plans) {
        std::ofstream file(std::string(arguments[1]) + "/seed" + std::to_string(++number), std::ios::binary);
        file << archiveBytes(plan);
        if (!file.flush())
            return 1;
    }
    return 0;
}

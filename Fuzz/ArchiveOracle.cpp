#include "Fuzz/ArchiveOracle.h"

#include "MorvCore/Foundation/Errors.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Operations/SafeArchiveService.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace morv::fuzz {

void require(bool holds, const char* promise) {
    if (holds)
        return;
    std::fprintf(stderr, "This promise was broken: %s\n", promise);
    std::abort();
}

namespace {

class Scratch {
public:
    Scratch() : path_("/dev/shm/MorvFuzzXXXXXX"), file_(::mkostemp(path_.data(), O_CLOEXEC)) {
        require(file_ >= 0, "there is a file to write to");
    }
    ~Scratch() {
        ::unlink(path_.c_str());
        ::close(file_);
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    FileURL holding(std::string_view bytes) const {
        require(::ftruncate(file_, 0) == 0 &&
                    ::pwrite(file_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
                "the file can be written");
        return FileURL::fromPath(path_);
    }

private:
    std::string path_;
    int file_;
};

void requireSafe(const std::string& name) {
    require(isValidUTF8(name), "names are UTF-8");
    require(name.find_first_of(std::string_view("\\:\0", 3)) == std::string::npos,
            "names hold no separators");
    require(!name.empty() && name.front() != '/' && name.back() != '/', "names are relative");
    std::istringstream pieces(name);
    int count = 0;
    for (std::string piece; std::getline(pieces, piece, '/'); ++count)
        require(!piece.empty() && piece != "." && piece != ".." && piece.size() < 256,
                "components are names");
    require(count <= 128, "names are not too deep");
}

} // namespace

FileURL fileHolding(std::string_view bytes) {
    static const Scratch scratch;
    return scratch.holding(bytes);
}

void judgeArchive(std::string_view bytes) {
    const auto url = fileHolding(bytes);
    std::vector<SafeArchiveService::Entry> entries;
    try {
        SafeArchiveService::entries(url, {}, [&](const auto& entry) { entries.push_back(entry); });
    } catch (const FileOperationError& error) {
        require(entries.empty(), "nothing is told of what does not pass");
        require(error.kind() == FileOperationError::Case::invalid ||
                    error.kind() == FileOperationError::Case::unsupported,
                "a file that nobody changes is damaged or unsupported");
        return;
    }
    std::map<std::string, bool> known;
    std::uint64_t size = 0;
    for (const auto& entry : entries) {
        requireSafe(entry.name);
        require(known.emplace(pathKey(entry.name), entry.isDirectory).second, "no two names meet");
        size += entry.size;
    }
    require(size <= 20ULL << 30U, "what is expanded has a limit");
    require(entries.size() * (30 + 46 + 2) + 22 <= bytes.size(), "members share nothing");
    for (const auto& entry : entries) {
        for (auto slash = entry.name.find('/'); slash != std::string::npos;
             slash = entry.name.find('/', slash + 1)) {
            const auto parent = known.find(pathKey(entry.name.substr(0, slash)));
            require(parent == known.end() || parent->second, "no file is a folder of another member");
        }
    }
}

} // namespace morv::fuzz

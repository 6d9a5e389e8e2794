#include "Tests/Support/PrivateHome.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace morv::test {

std::string readFile(const FileURL& url) {
    std::ifstream file(url.path(), std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
}

PrivateHome::PrivateHome(const FileURL& home) {
    fs::create_directories(home.path());
    const std::map<std::string, std::string> values = {{"HOME", home.path()},
                                                       {"XDG_DATA_HOME", home.path() + "/.local/share"},
                                                       {"XDG_CONFIG_HOME", home.path() + "/.config"},
                                                       {"XDG_CACHE_HOME", home.path() + "/.cache"}};
    for (const auto& [name, value] : values) {
        if (const char* old = std::getenv(name.c_str()))
            before_[name] = old;
        else
            before_[name] = "";
        setenv(name.c_str(), value.c_str(), 1);
    }
}

PrivateHome::~PrivateHome() {
    for (const auto& [name, value] : before_) {
        if (value.empty())
            unsetenv(name.c_str());
        else
            setenv(name.c_str(), value.c_str(), 1);
    }
}

} // namespace morv::test

#include "MorvApp/Model/PathCompletion.h"

#include "MorvCore/Folders/DirectoryService.h"
#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace morv {

namespace {

std::string withoutSlash(std::string text) {
    while (text.size() > 1 && text.back() == '/')
        text.pop_back();
    return text;
}

/// The real folders whose names begin with `rest`, in the user's order. A leading dot asks for hidden ones.
std::vector<std::string> foldersIn(const FileURL& folder, const std::string& rest,
                                   const std::stop_token& stop) {
    const auto hidden = rest.starts_with('.') ? HiddenItems::show : HiddenItems::skip;
    std::vector<std::string> names;
    for (const auto& entry : DirectoryService().entries(folder, hidden, stop))
        if (entry.isNavigable() && displayText(entry.name).starts_with(rest))
            names.push_back(entry.name);
    return names;
}

} // namespace

void PathCompletion::begin(const std::string& text, const FileURL& location) {
    end();
    known_ = {{withoutSlash(text), location}};
}

void PathCompletion::end() {
    reading_.cancel();
    completions_.clear();
}

void PathCompletion::complete(const Request& request, Direction direction) {
    const auto typed = request.prefix + request.rest;
    if (std::ranges::find(completions_, typed) != completions_.end()) {
        const auto count = completions_.size();
        index_ = (index_ + (direction == Direction::forwards ? 1 : count - 1)) % count;
        return Q_EMIT completed(typed, completions_[index_], hint());
    }
    end();
    reading_ = tasks_.run(
        TaskLane::reading,
        [request](const std::stop_token& stop) { return foldersIn(request.folder, request.rest, stop); },
        [this, request](const std::vector<std::string>& names) { offer(request, names); },
        // What cannot be read offers nothing.
        [this, request](const std::exception_ptr&) { offer(request, {}); });
}

void PathCompletion::offer(const Request& request, const std::vector<std::string>& names) {
    for (const auto& name : names) {
        const auto text = request.prefix + displayText(name);
        known_[text] = request.folder.child(name).asFolder();
        completions_.push_back(text);
    }
    index_ = 0;
    const auto typed = request.prefix + request.rest;
    if (completions_.size() == 1) {
        // Ready for the next name.
        const auto only = completions_.front() + "/";
        completions_.clear();
        return Q_EMIT completed(typed, only, {});
    }
    Q_EMIT completed(typed, completions_.empty() ? typed : completions_.front(), hint());
}

std::string PathCompletion::hint() const {
    if (completions_.empty())
        return "No matching folders for this path";
    return fmt::format("{} matching folders · Tab cycles completions", completions_.size());
}

std::optional<FileURL> PathCompletion::location(const std::string& text) const {
    auto head = withoutSlash(text);
    for (;;) {
        if (const auto found = known_.find(head); found != known_.end())
            return FileURL::folder(found->second.path() + text.substr(head.size()));
        const auto slash = head.rfind('/');
        if (slash == std::string::npos || slash == 0)
            return std::nullopt;
        head.resize(slash);
    }
}

} // namespace morv

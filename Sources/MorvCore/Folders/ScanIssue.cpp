#include "MorvCore/Folders/ScanIssue.h"

#include "MorvCore/Foundation/JSONCoding.h"

namespace morv {

std::string toJSON(const ScanIssue& issue) {
    auto object = json::Value::object();
    json::put(object, "url", issue.url);
    json::put(object, "message", issue.message);
    return json::dump(object);
}

void fromJSON(std::string_view text, ScanIssue& issue) {
    const auto object = json::parse(text);
    ScanIssue read;
    json::take(object, "url", read.url);
    json::take(object, "message", read.message);
    issue = std::move(read);
}

} // namespace morv

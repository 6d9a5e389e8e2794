// The completion of a path while it is typed: the folders that a text can go on to, one after the other.
//
// What was completed is remembered with its location in bytes, so that a name that is not UTF-8 can be
// reached although its text cannot be parsed back. Texts are UTF-8. Confined to the main thread.
#pragma once

#include "MorvApp/Model/TaskScope.h"
#include "MorvCore/Foundation/FileURL.h"

#include <QObject>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace morv {

class PathCompletion : public QObject {
    Q_OBJECT

public:
    enum class Direction : std::uint8_t { forwards, backwards };
    /// A text, cut behind its last "/", and the folder that its first part names.
    struct Request {
        std::string prefix;
        std::string rest;
        FileURL folder;
    };

    explicit PathCompletion(TaskPools& pools) : tasks_(pools) {}

    /// Editing begins with a text that names a location. What was known before is forgotten.
    void begin(const std::string& text, const FileURL& location);
    /// Nothing of what is under way will be said.
    void end();
    /// Steps through the completions when the whole text is one of them, else looks for new ones.
    void complete(const Request& request, Direction direction);
    /// Of a text that begins with one which is known.
    std::optional<FileURL> location(const std::string& text) const;

Q_SIGNALS:
    /// `text` completes `typed`; they are equal when nothing does.
    void completed(const std::string& typed, const std::string& text, const std::string& hint);

private:
    void offer(const Request& request, const std::vector<std::string>& names);
    std::string hint() const;

    std::vector<std::string> completions_;
    std::size_t index_ = 0;
    std::map<std::string, FileURL> known_; ///< without a "/" at the end
    TaskHandle reading_;
    TaskScope tasks_;
};

} // namespace morv

// For those who browse project folders: what Git says of a folder, and the few commands that a path bar takes.
//
// The status is read-only and local. Git is run with arguments and an environment that let it write nothing,
// ask for nothing and hear nothing of the user's configuration; and since a repository's own configuration
// can name programs (filters, hooks, helpers), it is run where no program can be started.
//
// Threading   stateless; safe to share
#pragma once

#include "MorvCore/Foundation/FileURL.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>

namespace morv {

enum class DeveloperEditor : std::uint8_t { visualStudioCode, cursor, xcode, zed };
inline constexpr std::array allDeveloperEditors = {DeveloperEditor::visualStudioCode, DeveloperEditor::cursor,
                                                   DeveloperEditor::xcode, DeveloperEditor::zed};
std::string_view rawValue(DeveloperEditor editor);
std::string_view displayName(DeveloperEditor editor);

/// What a typed command asks for, always for the folder where it was typed.
struct DeveloperPathIntent {
    enum class Tool : std::uint8_t { editor, terminal, warp };

    Tool tool = Tool::terminal;
    std::optional<DeveloperEditor> editor; ///< of Tool::editor

    friend bool operator==(const DeveloperPathIntent&, const DeveloperPathIntent&) = default;
};

namespace PathCommandParser {

/// The exact commands "terminal", "warp" (each also with " ."), "code .", "cursor .", "xed ." and "zed .",
/// white space around them left out. Everything else is a path: a folder called "code" can be typed.
std::optional<DeveloperPathIntent> parse(std::string_view input);

} // namespace PathCommandParser

/// The question about a folder could not be answered.
class DeveloperToolError : public std::runtime_error {
public:
    enum class Case : std::uint8_t { failed, timedOut, tooMuchOutput, invalidLocation };

    static DeveloperToolError failed(const std::string& sentence) { return {Case::failed, sentence}; }
    static DeveloperToolError timedOut();
    static DeveloperToolError tooMuchOutput();
    static DeveloperToolError invalidLocation();

    Case kind() const { return case_; }

private:
    DeveloperToolError(Case kind, const std::string& sentence) : std::runtime_error(sentence), case_(kind) {}

    Case case_;
};

struct GitFolderStatus {
    FileURL repository;            ///< the top level of the work tree, marked as a folder
    std::string branch;            ///< UTF-8: its short name, or a short revision when detached
    std::int64_t changedCount = 0; ///< entries of the status, untracked ones included
    bool isDetached = false;

    friend bool operator==(const GitFolderStatus&, const GitFolderStatus&) = default;
};
std::string toJSON(const GitFolderStatus& status);

class GitStatusService {
public:
    static constexpr std::string_view standardExecutable = "/usr/bin/git";
    static constexpr std::size_t outputLimit = 1'048'576; ///< bytes of one run
    static constexpr double shortestTimeout = 0.05;       ///< seconds

    GitStatusService() : executable_(standardExecutable) {}
    explicit GitStatusService(std::string executable) : executable_(std::move(executable)) {}

    /// Nothing when the folder is in no repository. `timeout` bounds the whole answer, in seconds.
    /// Throws DeveloperToolError, PosixError (the folder cannot be read, or Git not be started) or
    /// CancellationError; no process is left behind in any case.
    std::optional<GitFolderStatus> status(const FileURL& folder, double timeout,
                                          const std::stop_token& stop) const;

    /// The entries of "status --porcelain=v1 -z": a rename or copy is one, and its source is no other.
    static std::int64_t changeCount(std::string_view output);

private:
    std::string executable_;
};

} // namespace morv

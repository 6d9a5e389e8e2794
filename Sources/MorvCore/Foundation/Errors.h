// The errors of the core. what() is always one user-ready sentence in British English (UTF-8).
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace morv {

/// A failed system call.
class PosixError : public std::runtime_error {
public:
    /// `code` is an errno value; `path` in bytes, or empty when the call had none.
    explicit PosixError(int code, std::string_view path = {});

    int code() const { return code_; }
    const std::string& path() const { return path_; }

private:
    int code_;
    std::string path_;
};

/// The record store could not do what was asked.
class PersistenceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A record's JSON does not decode.
class DecodingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Work ended at a checkpoint because its stop was requested.
class CancellationError : public std::runtime_error {
public:
    CancellationError();
};

/// The engine's own checks, also raised by the readers of folders and files.
class FileOperationError : public std::runtime_error {
public:
    enum class Case : std::uint8_t {
        invalid,
        changed,
        collision,
        unavailable,
        unsupported,
        busy,
        missingReceipt
    };

    static FileOperationError invalid(const std::string& sentence) { return {Case::invalid, sentence}; }
    static FileOperationError changed(const std::string& sentence) { return {Case::changed, sentence}; }
    static FileOperationError collision(const std::string& sentence) { return {Case::collision, sentence}; }
    static FileOperationError unavailable(const std::string& sentence) {
        return {Case::unavailable, sentence};
    }
    static FileOperationError unsupported(const std::string& sentence) {
        return {Case::unsupported, sentence};
    }
    static FileOperationError busy() { return {Case::busy, "Another file operation is still running."}; }
    static FileOperationError missingReceipt() {
        return {Case::missingReceipt, "This operation's recovery receipt is unavailable."};
    }

    Case kind() const { return case_; }

private:
    FileOperationError(Case kind, const std::string& sentence) : std::runtime_error(sentence), case_(kind) {}

    Case case_;
};

} // namespace morv

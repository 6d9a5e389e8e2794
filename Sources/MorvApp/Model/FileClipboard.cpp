#include "MorvApp/Model/FileClipboard.h"

#include "MorvCore/Foundation/Unicode.h"

#include <algorithm>
#include <string_view>

namespace morv {

namespace {

/// Lines without their ends; what others write may end in CRLF, a line feed too many, or a NUL.
std::vector<std::string_view> lines(std::string_view text) {
    std::vector<std::string_view> result;
    while (!text.empty()) {
        const auto end = text.find('\n');
        auto line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        while (!line.empty() && (line.back() == '\r' || line.back() == '\0'))
            line.remove_suffix(1);
        if (!line.empty())
            result.push_back(line);
    }
    return result;
}

std::string plainText(const std::vector<FileURL>& urls) {
    std::string text;
    for (const auto& url : urls) {
        if (!text.empty())
            text += '\n';
        text += displayText(url.path());
    }
    return text;
}

} // namespace

bool FileClipboard::write(const std::vector<FileURL>& urls, Mode mode) {
    std::string uriList;
    std::string copied = mode == Mode::move ? "cut" : "copy";
    for (const auto& url : urls) {
        const auto uri = url.absoluteString();
        uriList += uri + "\r\n";
        copied += "\n" + uri;
    }
    const bool written = board_.write({{uriListType, uriList},
                                       {copiedFilesType, copied},
                                       {cutSelectionType, mode == Mode::move ? "1" : "0"},
                                       {plainTextType, plainText(urls)}});
    if (written && mode == Mode::move)
        board_.pendingMove_ = ClipboardBoard::PendingMove{board_.changeCount(), urls};
    else
        board_.pendingMove_.reset();
    return written;
}

bool FileClipboard::writeLocations(const std::vector<FileURL>& urls) {
    if (urls.empty() || !board_.write({{plainTextType, plainText(urls)}}))
        return false;
    board_.pendingMove_.reset();
    return true;
}

std::vector<FileURL> FileClipboard::urlsIn(std::string_view uriList) {
    std::vector<FileURL> urls;
    for (const auto line : lines(uriList))
        if (auto url = FileURL::parse(line))
            urls.push_back(std::move(*url));
    return urls;
}

bool FileClipboard::canPaste() const {
    return board_.offers(copiedFilesType) || board_.offers(uriListType);
}

FileClipboard::Offer FileClipboard::readBoard() const {
    Offer offer;
    const auto take = [&offer](std::string_view uri) {
        if (auto url = FileURL::parse(uri))
            offer.urls.push_back(std::move(*url));
    };
    if (const auto copied = board_.read(copiedFilesType)) {
        const auto parts = lines(*copied);
        if (!parts.empty() && (parts.front() == "copy" || parts.front() == "cut")) {
            offer.mode = parts.front() == "cut" ? Mode::move : Mode::copy;
            std::for_each(parts.begin() + 1, parts.end(), take);
            return offer;
        }
    }
    if (const auto list = board_.read(uriListType)) {
        const auto cut = board_.read(cutSelectionType);
        offer.mode = cut && cut->starts_with('1') ? Mode::move : Mode::copy;
        offer.urls = urlsIn(*list);
        return offer;
    }
    if (const auto plain = board_.read(plainTextType))
        for (const auto line : lines(*plain)) {
            if (line.starts_with('/'))
                offer.urls.push_back(FileURL::fromPath(line));
            else
                take(line);
        }
    return offer;
}

FileClipboard::Offer FileClipboard::read() {
    auto offer = readBoard();
    if (!board_.pendingMove_) {
        // Another program's cut becomes ours to end: once it was moved, it is offered as a copy too.
        if (offer.mode == Mode::move && !offer.urls.empty())
            board_.pendingMove_ = ClipboardBoard::PendingMove{board_.changeCount(), offer.urls};
        return offer;
    }
    if (board_.pendingMove_->changeCount == board_.changeCount()) {
        if (board_.pendingMove_->urls == offer.urls)
            return {std::move(offer.urls), Mode::move};
        offer.mode = Mode::copy;
    }
    board_.pendingMove_.reset();
    return offer;
}

void FileClipboard::completedMove(const std::unordered_map<FileURL, FileURL>& mapping) {
    if (!board_.pendingMove_ || board_.pendingMove_->changeCount != board_.changeCount())
        return;
    auto urls = board_.pendingMove_->urls;
    bool anyMoved = false;
    for (auto& url : urls)
        if (const auto moved = mapping.find(url); moved != mapping.end()) {
            url = moved->second;
            anyMoved = true;
        }
    if (anyMoved)
        write(urls, Mode::copy);
}

} // namespace morv

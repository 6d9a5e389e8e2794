#include "MorvApp/Model/ServerConnection.h"

#include "MorvCore/Foundation/JSONCoding.h"
#include "MorvCore/Foundation/TextSearch.h"
#include "MorvCore/Records/SQLiteStore.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

namespace morv {

namespace {

constexpr const char* recordKey = "servers.recent";

struct Scheme {
    std::string_view name;
    std::string_view hint;
};
constexpr std::array schemes = {
    Scheme{"smb", "Windows and most network drives: smb://server/share"},
    Scheme{"sftp", "Any computer that is reached by SSH: sftp://user@server/folder"},
    Scheme{"davs", "WebDAV, encrypted, as cloud services offer it: davs://server/path"},
    Scheme{"dav", "WebDAV, not encrypted: dav://server/path"},
    Scheme{"ftps", "FTP, encrypted: ftps://server/folder"},
    Scheme{"ftp", "FTP, not encrypted: ftp://server/folder"},
    Scheme{"nfs", "Unix servers: nfs://server/export"},
};
/// What people type, and what is meant.
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> aliases{
    {{"ssh", "sftp"}, {"https", "davs"}, {"http", "dav"}, {"cifs", "smb"}}};

std::string lower(std::string_view text) {
    std::string result(text);
    for (auto& letter : result)
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return result;
}

std::vector<std::string> readRecent(SQLiteStore& store) {
    std::vector<std::string> addresses;
    if (const auto bytes = store.loadBytes(recordKey))
        json::decode(json::parse(*bytes), addresses);
    return addresses;
}

} // namespace

ServerAddress ServerAddress::parse(std::string_view typed) {
    const auto text = trimmed(typed);
    std::string url(text);
    if (url.starts_with("\\\\") || url.starts_with("//")) {
        std::ranges::replace(url, '\\', '/');
        url = "smb:" + url;
    }
    const auto separator = url.find("://");
    if (separator == std::string::npos)
        return {{}, "Begin the address with its kind, as in smb://server/share."};
    auto scheme = lower(std::string_view(url).substr(0, separator));
    for (const auto& [alias, meant] : aliases)
        if (scheme == alias)
            scheme = meant;
    if (std::ranges::find(schemes, scheme, &Scheme::name) == schemes.end())
        return {{}, "Morv connects to smb, sftp, davs, dav, ftps, ftp and nfs addresses."};
    const auto rest = url.substr(separator + 3);
    const auto authority = std::string_view(rest).substr(0, rest.find('/'));
    const auto host = authority.substr(authority.rfind('@') + 1);
    const bool isClean = std::ranges::all_of(rest, [](char letter) {
        const auto byte = static_cast<unsigned char>(letter);
        return byte > ' ' && byte != 0x7F;
    });
    if (host.empty() || host.starts_with(':'))
        return {{}, "The address names no server."};
    if (!isClean)
        return {{}, "A blank in an address is written %20."};
    return {scheme + "://" + rest, {}};
}

std::string ServerAddress::withoutPassword(const std::string& url) {
    const auto begin = url.find("://") + 3;
    const auto end = std::min(url.find('/', begin), url.size());
    const auto at = url.rfind('@', end);
    const auto colon = url.find(':', begin);
    if (at == std::string::npos || at < begin || colon > at)
        return url;
    return url.substr(0, colon) + url.substr(at);
}

std::string_view ServerAddress::hint(std::string_view typed) {
    const auto begun = lower(trimmed(typed));
    const auto scheme = begun.substr(0, begun.find(':'));
    for (const auto& known : schemes)
        if (!scheme.empty() && scheme == known.name)
            return known.hint;
    return "Addresses begin with smb, sftp, davs, dav, ftps, ftp or nfs.";
}

ServerConnection::ServerConnection(SQLiteStore& store, TaskPools& pools, ServerConnector* connector,
                                   QObject* parent)
    : QObject(parent), store_(store), connector_(connector), tasks_(pools) {
    changeRecent([](std::vector<std::string>&) {});
}

void ServerConnection::reach(std::string_view typed) {
    attempt_.reset();
    const auto address = ServerAddress::parse(typed);
    if (!address.problem.empty())
        return fail(address.problem);
    if (!connector_)
        return fail("This session cannot connect to servers.");
    address_ = address.url;
    setState(State::reaching);
    // The listener goes with its attempt, which an arrival and a failure end: nothing of it is used after that.
    attempt_ = connector_->reach(address.url, {[this](const ServerQuestion& question) {
                                                   question_ = question;
                                                   setState(State::asking);
                                               },
                                               [this](const FileURL& folder) { arrive(folder); },
                                               [this](const std::string& sentence) { giveUp(sentence); }});
}

void ServerConnection::arrive(const FileURL& folder) {
    attempt_.reset();
    changeRecent([kept = ServerAddress::withoutPassword(address_)](auto& addresses) {
        std::erase(addresses, kept);
        addresses.insert(addresses.begin(), kept);
        addresses.resize(std::min(addresses.size(), mostKept));
    });
    setState(State::idle);
    Q_EMIT mounted(folder);
}

void ServerConnection::giveUp(const std::string& sentence) {
    attempt_.reset();
    if (sentence.empty())
        return setState(State::idle);
    fail(sentence);
}

void ServerConnection::answer(const ServerAnswer& answer) {
    if (state_ != State::asking || !attempt_)
        return;
    setState(State::reaching);
    attempt_->answer(answer);
}

void ServerConnection::stop() {
    attempt_.reset();
    setState(State::idle);
}

void ServerConnection::forget(const std::string& address) {
    changeRecent([address](auto& addresses) { std::erase(addresses, address); });
}

void ServerConnection::changeRecent(std::function<void(std::vector<std::string>&)> change) {
    tasks_.run(
        TaskLane::records,
        [&store = store_, change = std::move(change)](const std::stop_token&) {
            auto addresses = readRecent(store);
            const auto before = addresses;
            change(addresses);
            if (addresses != before)
                store.saveBytes(json::dump(json::encode(addresses)), recordKey);
            return addresses;
        },
        [this](std::vector<std::string> addresses) {
            recent_ = std::move(addresses);
            Q_EMIT recentChanged();
        },
        // A list that cannot be kept is none.
        [](const std::exception_ptr&) {});
}

void ServerConnection::setState(State state) {
    if (state != State::asking)
        question_ = {};
    if (state != State::failed)
        failure_.clear();
    state_ = state;
    Q_EMIT stateChanged();
}

void ServerConnection::fail(std::string sentence) {
    failure_ = std::move(sentence);
    setState(State::failed);
}

} // namespace morv

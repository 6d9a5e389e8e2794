#include "MorvApp/Model/UserDefaults.h"

#include <QByteArray>
#include <QFile>
#include <QSettings>
#include <QStringList>
#include <algorithm>
#include <array>
#include <utility>

namespace morv {

namespace {

QString fractionsKey(const std::string& name) {
    return QString::fromStdString(name + ".fractions");
}

QString sidebarWidthKey(const std::string& nameSpace) {
    return QString::fromStdString("com.morvapp.layout." + nameSpace + ".sidebar.expandedWidth");
}

constexpr std::array<std::pair<FirstFolder, const char*>, 4> firstFolders{
    {{FirstFolder::last, "last"},
     {FirstFolder::home, "home"},
     {FirstFolder::downloads, "downloads"},
     {FirstFolder::chosen, "chosen"}}};

QString nameOf(const FileURL& file) {
    return QFile::decodeName(QByteArray::fromStdString(file.path()));
}

} // namespace

UserDefaults::UserDefaults(const FileURL& file) : writer_(nameOf(file)) {
    const QSettings settings(nameOf(file), QSettings::IniFormat);
    for (const auto& key : settings.allKeys())
        values_.insert(key, settings.value(key));
}

QVariant UserDefaults::value(const QString& key, const QVariant& otherwise) const {
    return values_.value(key, otherwise);
}

void UserDefaults::set(const QString& key, const QVariant& value) {
    if (const auto known = values_.constFind(key); known != values_.constEnd() && *known == value)
        return;
    values_.insert(key, value);
    writer_.set(key, value);
}

/// "system" where nothing was chosen.
std::string UserDefaults::choice(const char* key) const {
    return value(QLatin1String(key), QStringLiteral("system")).toString().toStdString();
}

std::optional<FileURL> UserDefaults::lastLocation() const {
    const auto bytes = value(QStringLiteral("lastLocation")).toByteArray();
    if (!bytes.startsWith('/'))
        return std::nullopt;
    return FileURL::folder(bytes.toStdString());
}

void UserDefaults::setLastLocation(const FileURL& folder) {
    set(QStringLiteral("lastLocation"), QByteArray::fromStdString(folder.path()));
}

FirstFolder UserDefaults::firstFolder() const {
    const auto name = value(QStringLiteral("windows.firstFolder")).toString();
    const auto found = std::ranges::find_if(
        firstFolders, [&name](const auto& each) { return name == QLatin1String(each.second); });
    return found == firstFolders.end() ? FirstFolder::last : found->first;
}

void UserDefaults::setFirstFolder(FirstFolder place) {
    const auto found =
        std::ranges::find_if(firstFolders, [place](const auto& each) { return each.first == place; });
    set(QStringLiteral("windows.firstFolder"), QLatin1String(found->second));
}

std::optional<FileURL> UserDefaults::chosenFirstFolder() const {
    const auto bytes = value(QStringLiteral("windows.chosenFolder")).toByteArray();
    if (!bytes.startsWith('/'))
        return std::nullopt;
    return FileURL::folder(bytes.toStdString());
}

void UserDefaults::setChosenFirstFolder(const FileURL& folder) {
    set(QStringLiteral("windows.chosenFolder"), QByteArray::fromStdString(folder.path()));
}

bool UserDefaults::showsHiddenFiles() const {
    return value(QStringLiteral("folders.showHidden"), false).toBool();
}

void UserDefaults::setShowsHiddenFiles(bool shown) {
    set(QStringLiteral("folders.showHidden"), shown);
}

std::string UserDefaults::windowFrame() const {
    return value(QStringLiteral("Morv.FileWindow")).toByteArray().toStdString();
}

void UserDefaults::setWindowFrame(const std::string& frame) {
    set(QStringLiteral("Morv.FileWindow"), QByteArray::fromStdString(frame));
}

std::string UserDefaults::replacedFolderHandler() const {
    return value(QStringLiteral("folders.replacedHandler")).toByteArray().toStdString();
}

void UserDefaults::setReplacedFolderHandler(const std::string& desktopID) {
    set(QStringLiteral("folders.replacedHandler"), QByteArray::fromStdString(desktopID));
}

std::string UserDefaults::replacedFileManagerService() const {
    return value(QStringLiteral("folders.replacedService")).toByteArray().toStdString();
}

void UserDefaults::setReplacedFileManagerService(const std::string& content) {
    set(QStringLiteral("folders.replacedService"), QByteArray::fromStdString(content));
}

std::optional<FileURL> UserDefaults::editorApplication() const {
    const auto bytes = value(QStringLiteral("developerTools.editorApplication")).toByteArray();
    if (!bytes.startsWith('/'))
        return std::nullopt;
    return FileURL::fromPath(bytes.toStdString());
}

void UserDefaults::setEditorApplication(const FileURL& application) {
    set(QStringLiteral("developerTools.editorApplication"), QByteArray::fromStdString(application.path()));
}

std::string UserDefaults::terminalCommand() const {
    return value(QStringLiteral("developerTools.terminalCommand")).toByteArray().toStdString();
}

void UserDefaults::setTerminalCommand(const std::string& line) {
    set(QStringLiteral("developerTools.terminalCommand"), QByteArray::fromStdString(line));
}

bool UserDefaults::showsGitStatus() const {
    return value(QStringLiteral("developerTools.gitStatus"), true).toBool();
}

void UserDefaults::setShowsGitStatus(bool shown) {
    if (shown == showsGitStatus())
        return;
    set(QStringLiteral("developerTools.gitStatus"), shown);
    Q_EMIT showsGitStatusChanged();
}

bool UserDefaults::introductionCompleted() const {
    return value(QStringLiteral("onboarding.completed.v1"), false).toBool();
}

void UserDefaults::setIntroductionCompleted(bool completed) {
    set(QStringLiteral("onboarding.completed.v1"), completed);
}

std::string UserDefaults::appearance() const {
    return choice("appearance.preference.v2");
}

void UserDefaults::setAppearance(const std::string& choice) {
    set(QStringLiteral("appearance.preference.v2"), QString::fromStdString(choice));
}

std::string UserDefaults::contrast() const {
    return choice("appearance.contrast");
}

void UserDefaults::setContrast(const std::string& wish) {
    set(QStringLiteral("appearance.contrast"), QString::fromStdString(wish));
}

std::string UserDefaults::motion() const {
    return choice("appearance.motion");
}

void UserDefaults::setMotion(const std::string& wish) {
    set(QStringLiteral("appearance.motion"), QString::fromStdString(wish));
}

bool UserDefaults::sidebarIsCompact() const {
    return value(QStringLiteral("sidebar.compact"), false).toBool();
}

void UserDefaults::setSidebarIsCompact(bool compact) {
    set(QStringLiteral("sidebar.compact"), compact);
}

std::set<std::string> UserDefaults::closedSidebarSections() const {
    std::set<std::string> titles;
    for (const auto& title : value(QStringLiteral("sidebar.closedSections")).toStringList())
        titles.insert(title.toStdString());
    return titles;
}

void UserDefaults::setClosedSidebarSections(const std::set<std::string>& titles) {
    QStringList list;
    for (const auto& title : titles)
        list << QString::fromStdString(title);
    set(QStringLiteral("sidebar.closedSections"), list);
}

std::vector<double> UserDefaults::fractions(const std::string& name) const {
    std::vector<double> result;
    for (const auto& text : value(fractionsKey(name)).toStringList())
        result.push_back(text.toDouble());
    return result;
}

void UserDefaults::setFractions(const std::string& name, const std::vector<double>& fractions) {
    QStringList texts;
    for (const double fraction : fractions)
        texts << QString::number(fraction, 'g', 17);
    set(fractionsKey(name), texts);
}

std::optional<double> UserDefaults::sidebarWidth(const std::string& nameSpace) const {
    bool isNumber = false;
    const double width = value(sidebarWidthKey(nameSpace)).toDouble(&isNumber);
    return isNumber ? std::optional(width) : std::nullopt;
}

void UserDefaults::setSidebarWidth(const std::string& nameSpace, double width) {
    set(sidebarWidthKey(nameSpace), width);
}

} // namespace morv

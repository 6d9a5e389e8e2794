#include "MorvApp/Model/UserDefaults.h"

#include <QByteArray>
#include <QFile>
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

/// "system" where nothing was chosen.
std::string choice(const QSettings& settings, const char* key) {
    return settings.value(QLatin1String(key), QStringLiteral("system")).toString().toStdString();
}

} // namespace

UserDefaults::UserDefaults(const FileURL& file)
    : settings_(QFile::decodeName(QByteArray::fromStdString(file.path())), QSettings::IniFormat) {}

std::optional<FileURL> UserDefaults::lastLocation() const {
    const auto bytes = settings_.value(QStringLiteral("lastLocation")).toByteArray();
    if (!bytes.startsWith('/'))
        return std::nullopt;
    return FileURL::folder(bytes.toStdString());
}

void UserDefaults::setLastLocation(const FileURL& folder) {
    settings_.setValue(QStringLiteral("lastLocation"), QByteArray::fromStdString(folder.path()));
}

FirstFolder UserDefaults::firstFolder() const {
    const auto name = settings_.value(QStringLiteral("windows.firstFolder")).toString();
    const auto found = std::ranges::find_if(
        firstFolders, [&name](const auto& each) { return name == QLatin1String(each.second); });
    return found == firstFolders.end() ? FirstFolder::last : found->first;
}

void UserDefaults::setFirstFolder(FirstFolder place) {
    const auto found =
        std::ranges::find_if(firstFolders, [place](const auto& each) { return each.first == place; });
    settings_.setValue(QStringLiteral("windows.firstFolder"), QLatin1String(found->second));
}

std::optional<FileURL> UserDefaults::chosenFirstFolder() const {
    const auto bytes = settings_.value(QStringLiteral("windows.chosenFolder")).toByteArray();
    if (!bytes.startsWith('/'))
        return std::nullopt;
    return FileURL::folder(bytes.toStdString());
}

void UserDefaults::setChosenFirstFolder(const FileURL& folder) {
    settings_.setValue(QStringLiteral("windows.chosenFolder"), QByteArray::fromStdString(folder.path()));
}

bool UserDefaults::showsHiddenFiles() const {
    return settings_.value(QStringLiteral("folders.showHidden"), false).toBool();
}

void UserDefaults::setShowsHiddenFiles(bool shown) {
    settings_.setValue(QStringLiteral("folders.showHidden"), shown);
}

std::string UserDefaults::windowFrame() const {
    return settings_.value(QStringLiteral("Morv.FileWindow")).toByteArray().toStdString();
}

void UserDefaults::setWindowFrame(const std::string& frame) {
    settings_.setValue(QStringLiteral("Morv.FileWindow"), QByteArray::fromStdString(frame));
}

std::string UserDefaults::replacedFolderHandler() const {
    return settings_.value(QStringLiteral("folders.replacedHandler")).toByteArray().toStdString();
}

void UserDefaults::setReplacedFolderHandler(const std::string& desktopID) {
    settings_.setValue(QStringLiteral("folders.replacedHandler"), QByteArray::fromStdString(desktopID));
}

std::string UserDefaults::replacedFileManagerService() const {
    return settings_.value(QStringLiteral("folders.replacedService")).toByteArray().toStdString();
}

void UserDefaults::setReplacedFileManagerService(const std::string& content) {
    settings_.setValue(QStringLiteral("folders.replacedService"), QByteArray::fromStdString(content));
}

std::optional<FileURL> UserDefaults::editorApplication() const {
    const auto bytes = settings_.value(QStringLiteral("developerTools.editorApplication")).toByteArray();
    if (!bytes.startsWith('/'))
        return std::nullopt;
    return FileURL::fromPath(bytes.toStdString());
}

void UserDefaults::setEditorApplication(const FileURL& application) {
    settings_.setValue(QStringLiteral("developerTools.editorApplication"),
                       QByteArray::fromStdString(application.path()));
}

std::string UserDefaults::terminalCommand() const {
    return settings_.value(QStringLiteral("developerTools.terminalCommand")).toByteArray().toStdString();
}

void UserDefaults::setTerminalCommand(const std::string& line) {
    settings_.setValue(QStringLiteral("developerTools.terminalCommand"), QByteArray::fromStdString(line));
}

bool UserDefaults::showsGitStatus() const {
    return settings_.value(QStringLiteral("developerTools.gitStatus"), true).toBool();
}

void UserDefaults::setShowsGitStatus(bool shown) {
    if (shown == showsGitStatus())
        return;
    settings_.setValue(QStringLiteral("developerTools.gitStatus"), shown);
    Q_EMIT showsGitStatusChanged();
}

bool UserDefaults::introductionCompleted() const {
    return settings_.value(QStringLiteral("onboarding.completed.v1"), false).toBool();
}

void UserDefaults::setIntroductionCompleted(bool completed) {
    settings_.setValue(QStringLiteral("onboarding.completed.v1"), completed);
}

std::string UserDefaults::appearance() const {
    return choice(settings_, "appearance.preference.v2");
}

void UserDefaults::setAppearance(const std::string& choice) {
    settings_.setValue(QStringLiteral("appearance.preference.v2"), QString::fromStdString(choice));
}

std::string UserDefaults::contrast() const {
    return choice(settings_, "appearance.contrast");
}

void UserDefaults::setContrast(const std::string& wish) {
    settings_.setValue(QStringLiteral("appearance.contrast"), QString::fromStdString(wish));
}

std::string UserDefaults::motion() const {
    return choice(settings_, "appearance.motion");
}

void UserDefaults::setMotion(const std::string& wish) {
    settings_.setValue(QStringLiteral("appearance.motion"), QString::fromStdString(wish));
}

bool UserDefaults::sidebarIsCompact() const {
    return settings_.value(QStringLiteral("sidebar.compact"), false).toBool();
}

void UserDefaults::setSidebarIsCompact(bool compact) {
    settings_.setValue(QStringLiteral("sidebar.compact"), compact);
}

std::set<std::string> UserDefaults::closedSidebarSections() const {
    std::set<std::string> titles;
    for (const auto& title : settings_.value(QStringLiteral("sidebar.closedSections")).toStringList())
        titles.insert(title.toStdString());
    return titles;
}

void UserDefaults::setClosedSidebarSections(const std::set<std::string>& titles) {
    QStringList list;
    for (const auto& title : titles)
        list << QString::fromStdString(title);
    settings_.setValue(QStringLiteral("sidebar.closedSections"), list);
}

std::vector<double> UserDefaults::fractions(const std::string& name) const {
    std::vector<double> result;
    for (const auto& text : settings_.value(fractionsKey(name)).toStringList())
        result.push_back(text.toDouble());
    return result;
}

void UserDefaults::setFractions(const std::string& name, const std::vector<double>& fractions) {
    QStringList texts;
    for (const double fraction : fractions)
        texts << QString::number(fraction, 'g', 17);
    settings_.setValue(fractionsKey(name), texts);
}

std::optional<double> UserDefaults::sidebarWidth(const std::string& nameSpace) const {
    bool isNumber = false;
    const double width = settings_.value(sidebarWidthKey(nameSpace)).toDouble(&isNumber);
    return isNumber ? std::optional(width) : std::nullopt;
}

void UserDefaults::setSidebarWidth(const std::string& nameSpace, double width) {
    settings_.setValue(sidebarWidthKey(nameSpace), width);
}

} // namespace morv

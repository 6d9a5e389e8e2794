// Where the dividers of a window stand, kept as fractions so that they fit a window of any size.
//
// On disk     user defaults: "com.morvapp.layout." namespace "." key ".fractions", one number for each divider
// Namespaces  "primary" for the first window of a run, which is thus where the user left it; "window." and a
//             UUID for every other; "desktop." and "qa." with a UUID for what must leave no layout behind
// Invariants  I1  dividers that the registry itself puts in their places are not written back
//             I2  fractions for another number of dividers are not used
// Threading   confined to the main thread
#pragma once

#include "MorvApp/Model/Environment.h"
#include "MorvApp/Model/FileSession.h"

#include <QObject>
#include <QPointer>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace morv {

class UserDefaults;

/// A row of parts with dividers between them, as the registry sees it. Lengths in points along the row.
class SplitView : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    virtual double length() const = 0;
    virtual std::size_t dividers() const = 0;
    /// The end of the part before the divider.
    virtual double position(std::size_t divider) const = 0;
    virtual double smallestPosition(std::size_t divider) const = 0;
    virtual double largestPosition(std::size_t divider) const = 0;
    virtual void setPosition(std::size_t divider, double position) = 0;

Q_SIGNALS:
    /// The parts have other sizes now, whoever moved them.
    void resized();
};

class SplitLayoutRegistry {
public:
    explicit SplitLayoutRegistry(UserDefaults& defaults, Environment environment)
        : defaults_(defaults), environment_(std::move(environment)) {}
    ~SplitLayoutRegistry();
    SplitLayoutRegistry(const SplitLayoutRegistry&) = delete;
    SplitLayoutRegistry& operator=(const SplitLayoutRegistry&) = delete;

    enum class Persistence : std::uint8_t { kept, thrownAway };
    std::string newWindowNamespace(Persistence persistence);

    /// Puts the dividers where `restored`, else the user defaults, say, and from now on writes where the user
    /// moves them. Again with the same `revision` it does nothing. A view that has no length yet is restored
    /// by the first registration in which it has one.
    void registerSplit(SplitView& split, const std::string& nameSpace, const std::string& key,
                       const std::optional<std::vector<double>>& restored, std::uint64_t revision);
    /// The fractions of all living splits of a namespace, by key.
    SplitFractions snapshots(const std::string& nameSpace);

private:
    struct Record {
        QPointer<SplitView> split;
        std::string nameSpace;
        std::string key;
        std::uint64_t revision = 0;
        QMetaObject::Connection observer;
    };

    void save(const std::string& name, const Record& record);
    void restore(const std::string& name, SplitView& split, const std::vector<double>& fractions);

    UserDefaults& defaults_;
    const Environment environment_;
    bool primaryClaimed_ = false;
    std::map<std::string, Record> records_;
    std::set<std::string> applying_;
    std::map<std::string, SplitFractions> snapshotCache_;
};

/// The width of the sidebar's column: remembered while it is expanded, and held within 184 to 280 points.
class SidebarColumn {
public:
    static constexpr double smallest = 184;
    static constexpr double largest = 280;

    SidebarColumn(UserDefaults& defaults, std::string nameSpace)
        : defaults_(defaults), nameSpace_(std::move(nameSpace)) {}

    enum class Mode : std::uint8_t { compact, expanded };
    /// Called after each layout with the column's present width; the width it should be set to, if another.
    std::optional<double> settle(Mode mode, double width);

private:
    UserDefaults& defaults_;
    const std::string nameSpace_;
    std::optional<Mode> previous_;
    double expandedWidth_ = largest;
};

} // namespace morv

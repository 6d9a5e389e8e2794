// Titles and values, one pair in a row: what is known of a file. Main thread.
#pragma once

#include "MorvApp/Model/MediaDecoder.h"
#include "MorvCore/Folders/FileEntry.h"

#include <QString>
#include <QWidget>
#include <utility>
#include <vector>

class QFormLayout;

namespace morv {

/// For people already: nothing in it hides or reorders its surroundings.
using ShownFact = std::pair<QString, QString>;

/// Kind, size and dates, as the listing has them.
std::vector<ShownFact> factsOf(const FileEntry& entry);
void addFacts(std::vector<ShownFact>& facts, const std::vector<MediaFact>& more);

class PreviewFacts : public QWidget {
    Q_OBJECT

public:
    explicit PreviewFacts(QWidget* parent);

    void setFacts(const std::vector<ShownFact>& facts);

private:
    QFormLayout* form_;
};

} // namespace morv

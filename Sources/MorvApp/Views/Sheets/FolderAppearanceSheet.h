// The look of one folder in Morv: its colour and symbol, with the folder as it would be. Main thread.
#pragma once

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/Sheet.h"

class QButtonGroup;
class QLabel;

namespace morv {

class FolderAppearanceSheet : public Sheet {
    Q_OBJECT

public:
    FolderAppearanceSheet(AppModel& app, const FileURL& folder, QWidget* window);

private:
    QWidget* buildPreview();
    QWidget* buildColours();
    QWidget* buildSymbols();
    void choose(const FolderAppearance& appearance);
    void showPreview();
    void save();

    AppModel& app_;
    const FileURL folder_;
    const FolderAppearance standard_;
    FolderAppearance chosen_;
    QLabel* picture_ = nullptr;
    QButtonGroup* colours_;
    QButtonGroup* symbols_; ///< ids are places in folderSymbols(); the standard symbol's is automaticID
};

} // namespace morv

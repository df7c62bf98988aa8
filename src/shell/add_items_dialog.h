#pragma once

#include <QFileDialog>
#include <QStringList>

namespace wharf {

// "Add to Wharf": files and folders alike, several at once. Qt's own dialog chooses either only
// files or only folders, so its "Add" takes whatever is selected as it stands.
class AddItemsDialog : public QFileDialog {
    Q_OBJECT
public:
    explicit AddItemsDialog(const QString& directory = QStringLiteral("/usr/share/applications"),
                            QWidget* parent = nullptr);

    // What was chosen, in the order shown; empty until accepted.
    const QStringList& chosen() const { return chosenPaths; }

    void accept() override;

private:
    QStringList chosenPaths;
};

} // namespace wharf

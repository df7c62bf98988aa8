#include "shell/add_items_dialog.h"

#include <QAbstractItemView>
#include <QFileInfo>

namespace wharf {

AddItemsDialog::AddItemsDialog(const QString& directory, QWidget* parent)
    : QFileDialog(parent, tr("Add to Wharf"), directory)
{
    setOption(QFileDialog::DontUseNativeDialog);
    setFileMode(QFileDialog::ExistingFiles);
    setLabelText(QFileDialog::Accept, tr("Add"));
    for (QAbstractItemView* view : findChildren<QAbstractItemView*>())
        view->setSelectionMode(QAbstractItemView::ExtendedSelection);
}

void AddItemsDialog::accept()
{
    QStringList paths;
    for (const QString& path : selectedFiles()) {
        if (QFileInfo::exists(path))
            paths << path;
    }
    if (paths.isEmpty())
        return;
    chosenPaths = paths;
    QDialog::accept();
}

} // namespace wharf

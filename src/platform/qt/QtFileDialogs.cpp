#include "QtPlatform.h"

#include <QApplication>
#include <QFileDialog>
#include <QFileSystemModel>
#include <QRegularExpression>
#include <QSortFilterProxyModel>

namespace platform::qt {

QString QtFolderBrowser::browseForFolder(const QString& title, const QString& root)
{
    return QFileDialog::getExistingDirectory(QApplication::activeWindow(), title, root,
                                             QFileDialog::ShowDirsOnly | QFileDialog::DontResolveSymlinks);
}

namespace {
// Shows folders and the files whose names match one of the patterns, case
// ignored. The filter's label is free text this way: Qt's own filter parser
// would take "(*.xls;*.xlsx)" as one pattern.
class PatternProxy final : public QSortFilterProxyModel {
public:
    explicit PatternProxy(const QStringList& patterns, QObject* parent) : QSortFilterProxyModel(parent)
    {
        for (const QString& p : patterns)
            regexes_.append(QRegularExpression(QRegularExpression::wildcardToRegularExpression(p),
                                               QRegularExpression::CaseInsensitiveOption));
    }

protected:
    bool filterAcceptsRow(int row, const QModelIndex& parent) const override
    {
        auto* fs = qobject_cast<QFileSystemModel*>(sourceModel());
        const QModelIndex idx = sourceModel()->index(row, 0, parent);
        if (!fs || fs->isDir(idx))
            return true;
        const QString name = fs->fileName(idx);
        for (const auto& re : regexes_) {
            if (re.match(name).hasMatch())
                return true;
        }
        return false;
    }

private:
    QList<QRegularExpression> regexes_;
};
}  // namespace

QString QtFileDialog::getOpenFileName(const OpenFileRequest& request)
{
    QFileDialog dialog(QApplication::activeWindow(), request.title, request.initialDir);
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setFileMode(QFileDialog::AnyFile);  // a typed name that does not exist is answered as typed
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    dialog.setProxyModel(new PatternProxy(request.filterPatterns, &dialog));
    dialog.setNameFilter(request.filterLabel);
    // The proxy does the matching; the model itself shows every file.
    if (auto* proxy = qobject_cast<QSortFilterProxyModel*>(dialog.proxyModel())) {
        if (auto* fs = qobject_cast<QFileSystemModel*>(proxy->sourceModel()))
            fs->setNameFilters({});
    }
    if (dialog.exec() != QDialog::Accepted)
        return {};
    const QStringList files = dialog.selectedFiles();
    return files.isEmpty() ? QString() : files.first();
}

}  // namespace platform::qt

#pragma once
// Files and folders dropped onto the task list from a file manager. Each is
// added as the two Add commands add it: a file through UpdateListView (the
// duplicate rule, the report for what cannot be read), a folder through the
// folder routine of Add Folder (its .xls files, then its .xlsx files), in the
// order the drop lists them.

#include <QObject>
#include <QStringList>

class QDropEvent;
class QMimeData;

namespace ui {

class frmMain;

class ListDrop final : public QObject {
    Q_OBJECT
public:
    // Makes the list of `form` a drop target; lives as long as the window.
    explicit ListDrop(frmMain& form);

    // The local files and folders a drop carries, in its order.
    static QStringList droppedPaths(const QMimeData* data);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool accepts(const QMimeData* data) const;
    void add(const QStringList& paths);

    frmMain& form_;
};

}  // namespace ui

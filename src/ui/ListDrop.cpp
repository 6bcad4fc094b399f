#include "ListDrop.h"

#include "frmMain.h"

#include "app/CommonDefine.h"

#include <QDropEvent>
#include <QFileInfo>
#include <QMimeData>
#include <QTableWidget>
#include <QTimer>
#include <QUrl>

namespace ui {

ListDrop::ListDrop(frmMain& form) : QObject(&form), form_(form)
{
    form_.lvwTask()->setAcceptDrops(true);
    form_.lvwTask()->viewport()->setAcceptDrops(true);
    form_.lvwTask()->viewport()->installEventFilter(this);
}

QStringList ListDrop::droppedPaths(const QMimeData* data)
{
    QStringList paths;
    if (!data || !data->hasUrls())
        return paths;
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile() && !url.toLocalFile().isEmpty())
            paths.append(url.toLocalFile());
    }
    return paths;
}

bool ListDrop::accepts(const QMimeData* data) const
{
    // A run holds the list: nothing may join it until the run is over.
    return !form_.isSplitRunning() && !droppedPaths(data).isEmpty();
}

bool ListDrop::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto* drag = static_cast<QDropEvent*>(event);
        if (accepts(drag->mimeData())) {
            drag->setDropAction(Qt::CopyAction);  // never a move: the source files stay where they are
            drag->accept();
        } else {
            drag->ignore();
        }
        return true;
    }
    case QEvent::Drop: {
        auto* drop = static_cast<QDropEvent*>(event);
        if (!accepts(drop->mimeData())) {
            drop->ignore();
            return true;
        }
        drop->setDropAction(Qt::CopyAction);
        drop->accept();
        // The file manager waits until the drop returns; listing (and any
        // report it shows) comes after, from the event loop.
        const QStringList paths = droppedPaths(drop->mimeData());
        QTimer::singleShot(0, this, [this, paths] { add(paths); });
        return true;
    }
    default:
        return QObject::eventFilter(watched, event);
    }
}

void ListDrop::add(const QStringList& paths)
{
    for (const QString& path : paths) {
        if (QFileInfo(path).isDir())
            form_.AddFolderToList(app::AddTrailingBackslash(path));
        else
            form_.UpdateListView(path);
    }
}

}  // namespace ui

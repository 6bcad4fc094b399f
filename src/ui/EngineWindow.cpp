#include "EngineWindow.h"

#include <QLabel>
#include <QListWidget>
#include <QVBoxLayout>

namespace ui {

namespace {
constexpr int kKeptOperations = 200;
}

EngineWindow::EngineWindow(QWidget* parent)
    : QWidget(parent, Qt::Window), books_(new QListWidget(this)), operations_(new QListWidget(this))
{
    setObjectName(QStringLiteral("EngineWindow"));
    setWindowTitle(QStringLiteral("Tamberlin workbook engine"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(tr("Open workbooks:"), this));
    layout->addWidget(books_);
    layout->addWidget(new QLabel(tr("Last operations:"), this));
    layout->addWidget(operations_);
    resize(480, 360);
}

void EngineWindow::visibleChanged(bool visible) { setVisible(visible); }

void EngineWindow::workbooksChanged(const std::vector<std::string>& fullNames, int activeIndex)
{
    books_->clear();
    for (std::size_t i = 0; i < fullNames.size(); ++i) {
        QString text = QString::fromStdString(fullNames[i]);
        if (static_cast<int>(i) == activeIndex)
            text += tr("  (active)");
        books_->addItem(text);
    }
}

void EngineWindow::operationDone(const std::string& description)
{
    operations_->addItem(QString::fromStdString(description));
    while (operations_->count() > kKeptOperations)
        delete operations_->takeItem(0);
    operations_->scrollToBottom();
}

}  // namespace ui

#pragma once
// A small window that shows the workbook engine at work: the workbooks it has
// open (the active one marked) and its last operations. It is shown while the
// engine is visible and hidden otherwise.

#include "excel/ApplicationObserver.h"

#include <QWidget>

class QListWidget;

namespace ui {

class EngineWindow final : public QWidget, public excel::ApplicationObserver {
    Q_OBJECT
public:
    explicit EngineWindow(QWidget* parent = nullptr);

    void visibleChanged(bool visible) override;
    void workbooksChanged(const std::vector<std::string>& fullNames, int activeIndex) override;
    void operationDone(const std::string& description) override;

    QListWidget* workbookList() const { return books_; }
    QListWidget* operationList() const { return operations_; }

private:
    QListWidget* books_;
    QListWidget* operations_;
};

}  // namespace ui

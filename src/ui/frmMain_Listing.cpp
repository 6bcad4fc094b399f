// The task list as the window shows it: one row for each worksheet of each
// listed workbook, the workbook's path in column 1 and the sheet's name in
// column 2, with columns that widen to their text.

#include "ui/frmMain.h"

#include "app/CommonDefine.h"
#include "app/Globals.h"
#include "platform/Platform.h"
#include "ui/Twips.h"

#include <QFontMetricsF>
#include <QHeaderView>
#include <QTableWidget>

#include <cmath>

namespace ui {

namespace {
constexpr float kColumnMargin = 200;

QTableWidgetItem* cell(QTableWidget* t, int row, int column)
{
    QTableWidgetItem* item = t->item(row, column);
    if (!item) {
        item = new QTableWidgetItem;
        t->setItem(row, column, item);
    }
    return item;
}
}  // namespace

// The busy pointer while a workbook is read, each row as it comes, and the
// file error report when it cannot be listed.
class frmMain::WindowListing final : public tasklist::ListingReport {
public:
    explicit WindowListing(frmMain& form) : form_(form) {}
    void opening(const std::string&) override { form_.setMousePointer(11); }
    void rowAdded(int index, const tasklist::TaskRow& row) override { form_.showAddedRow(index, row); }
    void failed(const std::string& path, const tb::Error& error) override
    {
        form_.setMousePointer(0);
        form_.g_.platform.messageBox().show(app::fileErrorText(error, QString::fromStdString(path)),
                                            platform::mb::OkOnly);
    }

private:
    frmMain& form_;
};

int frmMain::InitListView()
{
    int result = 0;
    app::guarded(g_.platform.messageBox(), QStringLiteral("InitListView"), [&] {
        lvwTask_->horizontalHeader()->setVisible(true);                    // report view
        lvwTask_->setShowGrid(true);                                       // grid lines
        lvwTask_->setSelectionBehavior(QAbstractItemView::SelectRows);     // full-row selection
        lvwTask_->setEditTriggers(QAbstractItemView::NoEditTriggers);      // no editing
        lvwTask_->horizontalHeader()->setHighlightSections(false);
        lvwTask_->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        lvwTask_->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
        lvwTask_->verticalHeader()->setDefaultSectionSize(QFontMetrics(lvwTask_->font()).height() + 4);
        lvwTask_->setColumnCount(2);
        lvwTask_->setHorizontalHeaderLabels({QStringLiteral("Source File Name"), QStringLiteral("WorkSheet Name")});
        columnWidths_.assign(2, 0.0);
        // The list's own width in twips gives 3/5 and 2/5.
        const float width = static_cast<float>(pixelsToTwipsX(*this, lvwTask_->width()));
        setColumnWidth(1, width / 5 * 3);
        setColumnWidth(2, width / 5 * 2);
        connect(lvwTask_->horizontalHeader(), &QHeaderView::sectionResized, this, [this](int index, int, int px) {
            // A column the user drags keeps the width it was given.
            if (index < static_cast<int>(columnWidths_.size()) &&
                px != twipsToPixelsX(*this, static_cast<int>(std::lround(columnWidths_[index]))))
                columnWidths_[static_cast<std::size_t>(index)] = pixelsToTwipsX(*this, px);
        });
        result = 1;
    });
    return result;
}

double frmMain::columnWidth(int index) const
{
    return index >= 1 && index <= static_cast<int>(columnWidths_.size()) ? columnWidths_[index - 1] : 0.0;
}

void frmMain::setColumnWidth(int index, double twips)
{
    columnWidths_.at(static_cast<std::size_t>(index - 1)) = twips;
    lvwTask_->setColumnWidth(index - 1, twipsToPixelsX(*this, static_cast<int>(std::lround(twips))));
}

double frmMain::TextWidth(const QString& text) const
{
    return QFontMetricsF(font()).horizontalAdvance(text) * kTwipsPerInch / logicalDpiX();
}

void frmMain::AdjustColumnWidth(short ColumnIndex, const QString& ColumnText)
{
    app::guarded(g_.platform.messageBox(), QStringLiteral("AdjustColumnWidth"), [&] {
        if (ColumnIndex < 1 || ColumnIndex > static_cast<int>(columnWidths_.size()))
            throw tb::Error(35600, "Index out of bounds: the list has no column " + std::to_string(ColumnIndex) + ".");
        // Rounded to the nearest, a half to the even neighbour.
        const auto required = static_cast<std::int32_t>(std::lrint(TextWidth(ColumnText) + kColumnMargin));
        if (columnWidth(ColumnIndex) < required)
            setColumnWidth(ColumnIndex, required);
    });
}

void frmMain::showAddedRow(int index, const tasklist::TaskRow& row)
{
    lvwTask_->insertRow(index - 1);
    cell(lvwTask_, index - 1, 0)->setText(QString::fromStdString(row.SourceFileName));
    cell(lvwTask_, index - 1, 1)->setText(QString::fromStdString(row.WorkSheetName));
    // As a list control does, the first row becomes the current one, so that
    // Remove Item always has a row to take.
    if (lvwTask_->currentRow() < 0)
        lvwTask_->setCurrentCell(0, 0);
    AdjustColumnWidth(1, cell(lvwTask_, index - 1, 0)->text());
    AdjustColumnWidth(2, cell(lvwTask_, index - 1, 1)->text());
}

void frmMain::UpdateListView(const QString& WorkbookPath)
{
    WindowListing listing(*this);
    if (tasks_.addWorkbook(*g_.gExcelApp, WorkbookPath.toStdString(), listing) != tasklist::Listing::AlreadyListed)
        setMousePointer(0);
}

void frmMain::AddFolderToList(const QString& folder)
{
    try {
        WindowListing listing(*this);
        tasks_.addFolder(*g_.gExcelApp, folder.toStdString(), listing);
    } catch (...) {
        g_.platform.messageBox().show(app::folderErrorText(app::toError(std::current_exception()), folder),
                                      platform::mb::OkOnly);
    }
}

}  // namespace ui

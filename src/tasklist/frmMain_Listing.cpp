// The task list: one row for each worksheet of each listed workbook, the
// workbook's path in column 1 and the sheet's name in column 2.

#include "ui/frmMain.h"

#include "app/CommonDefine.h"
#include "app/Globals.h"
#include "excel/Workbook.h"
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
        // The list's own width in twips (8055 in the layout) gives 3/5 and 2/5.
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

int frmMain::FindItem(const QString& sz) const
{
    for (int r = 0; r < lvwTask_->rowCount(); ++r) {
        const QTableWidgetItem* item = lvwTask_->item(r, 0);
        if (item && item->text().compare(sz, Qt::CaseInsensitive) == 0)
            return r + 1;
    }
    return 0;
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

void frmMain::UpdateListView(const QString& WorkbookPath)
{
    std::shared_ptr<excel::Workbook> book;
    try {
        // Every row of a listed workbook carries its path: one hit refuses it whole.
        if (FindItem(WorkbookPath) != 0)
            return;
        setMousePointer(11);
        book = g_.gExcelApp->GetWorkbooks().Open(WorkbookPath.toStdString());
        if (!book) {
            QString text;
            g_.gSetting->GetSetting(QStringLiteral("ErrCantOpenWorkbook"), text);
            g_.platform.messageBox().show(text, platform::mb::OkOnly);
            setMousePointer(0);
            return;
        }
        for (const excel::Worksheet& sheet : book->Worksheets().all()) {
            lvwTask_->insertRow(lvwTask_->rowCount());
            const int index = lvwTask_->rowCount();
            cell(lvwTask_, index - 1, 0)->setText(WorkbookPath);
            cell(lvwTask_, index - 1, 1)->setText(QString::fromStdString(sheet.Name()));
            if (cell(lvwTask_, index - 1, 1)->text().contains(QLatin1Char('?'))) {
                lvwTask_->removeRow(index - 1);
                continue;
            }
            // As a list control does, the first row becomes the current one,
            // so that Remove Item always has a row to take.
            if (lvwTask_->currentRow() < 0)
                lvwTask_->setCurrentCell(0, 0);
            AdjustColumnWidth(1, cell(lvwTask_, index - 1, 0)->text());
            AdjustColumnWidth(2, cell(lvwTask_, index - 1, 1)->text());
        }
        book->Close(false);
        book.reset();
        setMousePointer(0);
    } catch (...) {
        const tb::Error e = app::toError(std::current_exception());
        setMousePointer(0);
        g_.platform.messageBox().show(app::fileErrorText(e, WorkbookPath), platform::mb::OkOnly);
        if (book && book->isOpen()) {
            try {
                book->Close(false);
            } catch (...) {
            }
        }
        book.reset();
        setMousePointer(0);
    }
}

}  // namespace ui

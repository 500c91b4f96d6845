#include "OutputFormatDelegate.h"

#include "EncoderSettings.h"
#include "MP3ListViewCell.h"
#include "OutputFormatListModel.h"
#include "OutputFormatTableView.h"

#include <QApplication>
#include <QPainter>

QWidget* OutputFormatDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem&,
                                            const QModelIndex&) const
{
    return new MP3ListViewCell(parent);
}

void OutputFormatDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const
{
    auto* cell = qobject_cast<MP3ListViewCell*>(editor);
    if (cell != nullptr) {
        cell->setEncoderSettings(index.data(OutputFormatListModel::SettingsRole).value<EncoderSettings*>());
    }
}

void OutputFormatDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                                const QModelIndex&) const
{
    // The grip stays uncovered: it is the view's, and drags start there.
    editor->setGeometry(option.rect.adjusted(OutputFormatTableView::kGripWidth, 0, 0, 0));
}

QSize OutputFormatDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const
{
    return {option.rect.width(), MP3ListViewCell::kHeight};
}

void OutputFormatDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const
{
    QStyleOptionViewItem background = option;
    initStyleOption(&background, index);
    background.text.clear();
    const QWidget* widget = option.widget;
    QStyle* style = widget != nullptr ? widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &background, painter, widget);

    // The grip: two columns of three dots, centred in its strip.
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const bool selected = option.state & QStyle::State_Selected;
    QColor dot = option.palette.color(selected ? QPalette::HighlightedText : QPalette::PlaceholderText);
    painter->setPen(Qt::NoPen);
    painter->setBrush(dot);
    const QPoint centre(option.rect.left() + OutputFormatTableView::kGripWidth / 2, option.rect.center().y());
    for (int column : {-3, 3}) {
        for (int line : {-6, 0, 6}) {
            painter->drawEllipse(QPointF(centre.x() + column, centre.y() + line), 1.5, 1.5);
        }
    }
    painter->restore();
}

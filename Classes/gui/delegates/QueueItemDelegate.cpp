#include "QueueItemDelegate.h"

#include "Icons.h"
#include "QueueListModel.h"

#include <QApplication>
#include <QDateTime>
#include <QPainter>
#include <QPainterPath>

namespace {

constexpr int kMargin = 8;
constexpr int kIconSize = 24;
constexpr int kBarHeight = 6;

} // namespace

QSize QueueItemDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const
{
    return QSize(option.rect.width(), kRowHeight);
}

void QueueItemDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const
{
    QStyleOptionViewItem panel = option;
    initStyleOption(&panel, index);
    panel.text.clear();
    panel.icon = QIcon();
    const QWidget* widget = option.widget;
    QStyle* style = widget != nullptr ? widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &panel, painter, widget);

    const bool selected = option.state.testFlag(QStyle::State_Selected);
    const QRect rect = option.rect.adjusted(kMargin, 0, -kMargin, 0);
    painter->save();

    // A source found damaged shows the warning sign instead of the file's.
    static const QIcon fileIcon = Icons::themed(QStringLiteral("audio-x-generic"));
    static const QIcon damagedIcon = Icons::themed(QStringLiteral("dialog-warning"));
    const bool damaged = index.data(QueueListModel::DamagedRole).toBool();
    const QRect iconRect(rect.left(), rect.top() + (rect.height() - kIconSize) / 2, kIconSize, kIconSize);
    (damaged ? damagedIcon : fileIcon)
        .paint(painter, iconRect, Qt::AlignCenter, selected ? QIcon::Selected : QIcon::Normal);

    const int textLeft = iconRect.right() + kMargin;
    const QFontMetrics metrics(option.font);
    const QRect textRect(textLeft, rect.top() + 5, rect.right() - textLeft, metrics.height());
    const QString status = index.data(QueueListModel::StatusRole).toString();
    painter->setFont(option.font);
    painter->setPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
    painter->drawText(textRect, Qt::AlignLeft | Qt::AlignVCenter,
                      metrics.elidedText(status, Qt::ElideMiddle, textRect.width()));

    const QRect barRect(textLeft, textRect.bottom() + 6, textRect.width(), kBarHeight);
    paintProgressBar(painter, barRect, option.palette,
                     index.data(QueueListModel::PercentCompleteRole).toDouble(),
                     index.data(QueueListModel::ProgressUnknownRole).toBool(), selected);
    painter->restore();
}

void QueueItemDelegate::paintProgressBar(QPainter* painter, const QRect& rect, const QPalette& palette,
                                         double percent, bool busy, bool selected)
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    const qreal radius = rect.height() / 2.0;

    QColor groove = palette.color(QPalette::WindowText);
    groove.setAlphaF(selected ? 0.30 : 0.12);
    painter->setBrush(groove);
    painter->drawRoundedRect(QRectF(rect), radius, radius);

    const QColor fill =
        selected ? palette.color(QPalette::HighlightedText) : palette.color(QPalette::Highlight);
    painter->setBrush(fill);
    if (busy) {
        // A block a quarter of the bar wide sweeps across it once every 1.5 s.
        const qreal block = rect.width() / 4.0;
        const qreal phase = (QDateTime::currentMSecsSinceEpoch() % 1500) / 1500.0;
        const qreal left = rect.left() - block + phase * (rect.width() + block);
        QPainterPath clip;
        clip.addRoundedRect(QRectF(rect), radius, radius);
        painter->setClipPath(clip);
        painter->drawRoundedRect(QRectF(left, rect.top(), block, rect.height()), radius, radius);
    } else if (percent > 0) {
        const qreal width = std::max(qreal(rect.height()), rect.width() * std::min(percent, 100.0) / 100.0);
        painter->drawRoundedRect(QRectF(rect.left(), rect.top(), width, rect.height()), radius, radius);
    }
    painter->restore();
}

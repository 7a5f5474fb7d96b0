#pragma once

#include <QColor>
#include <QStyledItemDelegate>

namespace lanternfold {

/// Draws a device row of the device list: a status dot, the name, and beneath it the subtitle in
/// small secondary text. Section items are left to the labels placed over them.
class DeviceRowDelegate final : public QStyledItemDelegate
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DeviceRowDelegate)

public:
    /// Where a list item keeps the parts of its row beyond the name (the display text).
    enum Role {
        subtitleRole = Qt::UserRole + 1,
        onlineRole,
        idRole,
        /// True on the items that carry a section's header rather than a device.
        sectionRole,
    };

    static constexpr int dotSize = 8;
    static constexpr int horizontalPadding = 12;
    static constexpr int verticalPadding = 7;
    /// Between the dot and the texts.
    static constexpr int dotGap = 10;
    /// Between the name and the subtitle.
    static constexpr int lineSpacing = 2;

    explicit DeviceRowDelegate(QObject *parent = nullptr);
    ~DeviceRowDelegate() override = default;

    [[nodiscard]] static QColor onlineColour();
    [[nodiscard]] static QColor offlineColour();

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
};

} // namespace lanternfold

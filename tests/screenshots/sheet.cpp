#include "screenshots/sheet.h"

namespace {

constexpr int gap = 12;

QPalette darkPalette()
{
    QPalette palette(QColor(0x35, 0x35, 0x3a), QColor(0x2d, 0x2d, 0x31));
    palette.setColor(QPalette::Base, QColor(0x1f, 0x1f, 0x23));
    palette.setColor(QPalette::AlternateBase, QColor(0x2a, 0x2a, 0x2e));
    palette.setColor(QPalette::Highlight, QColor(0x3d, 0x7d, 0xd8));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x7a, 0xb0, 0xff));
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(role, QColor(0xe6, 0xe6, 0xe6));
        palette.setColor(QPalette::Disabled, role, QColor(0x8a, 0x8a, 0x90));
    }
    return palette;
}

// Where stripes of these breadths begin, and where what is behind the last one does.
QVector<int> edges(const QVector<int> &breadths)
{
    QVector<int> all{gap};
    for (int breadth : breadths)
        all << all.last() + breadth + gap;
    return all;
}

} // namespace

void with(const Look &look, const std::function<void()> &make)
{
    QTranslator translator;
    if (!translator.load(QStringLiteral(":/translations/VTCV_%1.qm").arg(QLatin1String(look.language))))
        qFatal("no texts in %s", look.language);
    QCoreApplication::installTranslator(&translator);
    QApplication::setPalette(look.isDark ? darkPalette() : QApplication::style()->standardPalette());
    QLocale::setDefault(QLocale(QLatin1String(look.language)));
    make();
    QCoreApplication::removeTranslator(&translator);
}

QPixmap picture(QWidget *widget, QSize size)
{
    widget->resize(size.isValid() ? size : widget->sizeHint());
    widget->show();
    QCoreApplication::processEvents();
    return widget->grab();
}

bool Sheet::save(const QString &path) const
{
    const qreal ratio = cells.front().picture.devicePixelRatio();
    const int captionHeight = QFontMetrics(QApplication::font()).height() + gap / 3;
    const int rows = (int(cells.size()) + columns - 1) / columns;
    QVector<int> widths(columns);
    QVector<int> heights(rows);
    for (int i = 0; i < int(cells.size()); ++i) {
        const QSize size = cells[size_t(i)].picture.size() / ratio;
        widths[i % columns] = std::max(widths[i % columns], size.width());
        heights[i / columns] = std::max(heights[i / columns], captionHeight + size.height());
    }
    const QVector<int> left = edges(widths);
    const QVector<int> top = edges(heights);
    QImage sheet(QSize(left.last(), top.last()) * ratio, QImage::Format_RGB32);
    sheet.setDevicePixelRatio(ratio);
    sheet.fill(QColor(0xbf, 0xc5, 0xcc));
    QPainter painter(&sheet);
    painter.setPen(Qt::black);
    for (int i = 0; i < int(cells.size()); ++i) {
        const Cell &cell = cells[size_t(i)];
        const QPoint at(left[i % columns], top[i / columns]);
        painter.drawText(at + QPoint(0, QFontMetrics(painter.font()).ascent()), cell.caption);
        painter.drawPixmap(at + QPoint(0, captionHeight), cell.picture);
    }
    painter.end();
    return sheet.save(path, "PNG", 0);
}

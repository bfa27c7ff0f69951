#include "ui/widgets/Icons.h"

#include <QFile>
#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <cmath>

// The resources of a static library are linked in only where they are asked for, outside any namespace.
static void initIconResources() {
    Q_INIT_RESOURCE(icons);
}

namespace korvane {
namespace {

constexpr auto themeColor = "currentColor";

class ThemedIconEngine : public QIconEngine {
public:
    explicit ThemedIconEngine(QString name) : name_(std::move(name)) {
        QFile file(QStringLiteral(":/icons/") + name_ + QStringLiteral(".svg"));
        if (file.open(QIODevice::ReadOnly))
            picture_ = file.readAll();
    }

    QIconEngine* clone() const override { return new ThemedIconEngine(*this); }
    bool isNull() override { return picture_.isEmpty(); }

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
        const qreal scale = painter->device()->devicePixelRatio();
        painter->drawPixmap(rect, scaledPixmap(rect.size() * scale, mode, state, scale));
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return scaledPixmap(size, mode, state, 1);
    }
    /// `size` in pixels of the screen.
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State /*state*/,
                         qreal /*scale*/) override {
        const QColor color = colorFor(mode);
        const QString key = QStringLiteral("korvane %1 %2x%3 %4")
                                .arg(name_)
                                .arg(size.width())
                                .arg(size.height())
                                .arg(color.rgba(), 0, 16);
        QPixmap pixmap;
        if (QPixmapCache::find(key, &pixmap))
            return pixmap;
        pixmap = QPixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        if (mode == QIcon::Disabled && !picture_.contains(themeColor))
            painter.setOpacity(0.4);
        QSvgRenderer(QByteArray(picture_).replace(themeColor, color.name().toLatin1())).render(&painter);
        painter.end();
        QPixmapCache::insert(key, pixmap);
        return pixmap;
    }

private:
    static QColor colorFor(QIcon::Mode mode) {
        const QPalette palette = QGuiApplication::palette();
        if (mode == QIcon::Disabled)
            return palette.color(QPalette::Disabled, QPalette::ButtonText);
        return palette.color(QPalette::Active,
                             mode == QIcon::Selected ? QPalette::HighlightedText : QPalette::ButtonText);
    }

    const QString name_;
    QByteArray picture_;
};

} // namespace

QIcon icon(const QString& name) {
    static const bool isReady = [] {
        initIconResources();
        return true;
    }();
    Q_UNUSED(isReady);
    return QIcon(new ThemedIconEngine(name));
}

} // namespace korvane

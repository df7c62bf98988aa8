#include "stacks/stack_preview_window.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QMimeDatabase>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>

namespace wharf {

namespace {

constexpr QSize previewSize(560, 420);
constexpr qint64 textBytes = 16 * 1024;

} // namespace

StackPreviewWindow::StackPreviewWindow()
    : QWidget(nullptr, Qt::Popup | Qt::FramelessWindowHint), title(new QLabel(this)), body(new QLabel(this))
{
    setWindowTitle(QStringLiteral("Wharf Preview"));
    setStyleSheet(QStringLiteral("StackPreviewWindow, QWidget { background: #2a2a2e; color: white; }"));
    auto* layout = new QVBoxLayout(this);
    title->setAlignment(Qt::AlignCenter);
    QFont bold = title->font();
    bold.setBold(true);
    title->setFont(bold);
    body->setAlignment(Qt::AlignCenter);
    body->setWordWrap(true);
    body->setTextFormat(Qt::PlainText);
    layout->addWidget(title);
    layout->addWidget(body, 1);
    resize(previewSize);
}

void StackPreviewWindow::showEntry(const StackEntry& entry, const QIcon& icon, const QRect& over)
{
    shownEntry = entry;
    title->setText(entry.title);
    const QString path = entry.path();
    const QSize room = previewSize - QSize(24, 60);
    body->setAlignment(Qt::AlignCenter);

    QImage image;
    if (!entry.isDirectory) {
        QImageReader reader(path);
        reader.setDecideFormatFromContent(true);
        const QSize imageSize = reader.canRead() ? reader.size() : QSize();
        if (imageSize.isValid()) {
            // Decoded at the size shown, so a huge image costs no more than a small one.
            reader.setScaledSize(imageSize.scaled(room, Qt::KeepAspectRatio).boundedTo(imageSize));
            image = reader.read();
        }
    }
    if (!image.isNull()) {
        shownKind = QStringLiteral("image");
        body->setPixmap(QPixmap::fromImage(image));
    } else if (!entry.isDirectory && QMimeDatabase().mimeTypeForFile(path).inherits(QStringLiteral("text/plain"))) {
        shownKind = QStringLiteral("text");
        QFile file(path);
        body->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        body->setText(file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.read(textBytes)) : QString());
    } else {
        shownKind = QStringLiteral("icon");
        const QLocale locale;
        QStringList facts{entry.kind};
        if (!entry.isDirectory)
            facts << locale.formattedDataSize(QFileInfo(path).size());
        if (entry.modificationDate)
            facts << QStringLiteral("Modified ")
                    + locale.toString(entry.modificationDate->toLocalTime(), QLocale::ShortFormat);
        title->setText(entry.title + QStringLiteral("\n\n") + facts.join(QLatin1Char('\n')));
        body->setPixmap(icon.pixmap(128, 128));
    }

    QRect frame(QPoint(), previewSize);
    frame.moveCenter(over.center());
    // Over a stack near a display's edge, or on a small display, it stays on that display.
    if (const QScreen* screen = QGuiApplication::screenAt(over.center())) {
        const QRect area = screen->availableGeometry();
        frame.setSize(frame.size().boundedTo(area.size()));
        frame.moveLeft(std::clamp(frame.left(), area.left(), area.right() + 1 - frame.width()));
        frame.moveTop(std::clamp(frame.top(), area.top(), area.bottom() + 1 - frame.height()));
    }
    setGeometry(frame);
    show();
    raise();
    activateWindow();
}

void StackPreviewWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Space || event->key() == Qt::Key_Escape) {
        if (onHide)
            onHide();
        return;
    }
    if (onKey && onKey(event))
        return;
    QWidget::keyPressEvent(event);
}

void StackPreviewWindow::closeEvent(QCloseEvent* event)
{
    QWidget::closeEvent(event);
    if (onHide)
        onHide();
}

} // namespace wharf

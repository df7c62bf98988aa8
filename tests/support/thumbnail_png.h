#pragma once

// A PNG as the desktop's thumbnailers write it: the picture with one tEXt chunk (such as
// "Thumb::MTime") ahead of its image data.
#include <QBuffer>
#include <QByteArray>
#include <QImage>

namespace wharf::test {

inline QByteArray pngWithText(QImage image, const QByteArray& key, const QByteArray& value)
{
    image.setText(key, value);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "png");
    return png;
}

} // namespace wharf::test

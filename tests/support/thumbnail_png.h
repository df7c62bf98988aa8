#pragma once

// A PNG as the desktop's thumbnailers write it: the picture, with one tEXt chunk (such as
// "Thumb::MTime") right after its header.
#include <QBuffer>
#include <QByteArray>
#include <QImage>

namespace wharf::test {

inline quint32 pngCrc32(const QByteArray& data)
{
    quint32 crc = 0xffffffffu;
    for (const char byte : data) {
        crc ^= quint8(byte);
        for (int k = 0; k < 8; ++k)
            crc = (crc >> 1) ^ (0xedb88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

inline QByteArray pngWithText(const QImage& image, const QByteArray& key, const QByteArray& value)
{
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "png");
    const QByteArray body = "tEXt" + key + '\0' + value;
    QByteArray chunk;
    const auto put = [&chunk](quint32 v) {
        for (int shift : {24, 16, 8, 0})
            chunk.append(char((v >> shift) & 0xff));
    };
    put(quint32(body.size() - 4));
    chunk += body;
    put(pngCrc32(body));
    png.insert(8 + 25, chunk); // signature, then the 25-byte header chunk
    return png;
}

} // namespace wharf::test

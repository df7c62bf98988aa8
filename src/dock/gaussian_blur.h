#pragma once

#include <QColor>
#include <QImage>

namespace wharf {

// A Gaussian blur of a premultiplied ARGB image. The result is `margin` pixels larger
// on every side so the blur is not cut off; pixels outside the source count as clear.
QImage gaussianBlur(const QImage& source, double sigma, int margin);

// The shadow `source` casts: its coverage blurred by `sigma`, in `color`. Same size as `source`.
// With a `sigma` of 0, `source` tinted: what QPainter's SourceIn fill gives, without the worker
// threads it wakes for a tall image.
QImage blurredShadow(const QImage& source, double sigma, const QColor& color);

// The margin a blur of `sigma` needs to fade out completely.
int blurMargin(double sigma);

} // namespace wharf

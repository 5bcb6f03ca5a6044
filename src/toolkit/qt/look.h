#pragma once

#include <QColor>
#include <QPainter>
#include <cstdint>

// How the controls look: colours of the scheme, font, and the pictures of picture buttons.
// Threads: main.
namespace morvane::toolkit {

[[nodiscard]] QColor SchemeColor(int entry);
// Style, colours and font of the application.
void ApplyLook();
// Draws picture `number` of NXPictureButton into `place`.
void PaintPicture(QPainter* painter, uint32_t number, const QRectF& place, const QColor& color);

}  // namespace morvane::toolkit

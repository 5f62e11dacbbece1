#include "shell/ViewSymbols.h"

#include <QPainter>
#include <string>

#include "shell/ViewStyle.h"

namespace tessaline {
namespace {

// On a ground of 24 × 24, in lines of one colour; `f` fills instead.
struct Drawing {
  std::string_view name;
  std::string_view body;
};

constexpr Drawing kDrawings[] = {
    {"checkmark", R"(<path d="M5 12.8l4.6 4.7L19 7.3" stroke-width="2.4"/>)"},
    {"chevron.right", R"(<path d="M9.5 6l6 6-6 6" stroke-width="2"/>)"},
    {"desktopcomputer",
     R"(<rect x="2.5" y="3.5" width="19" height="13" rx="2.2"/><path d="M2.5 13h19"/>
<path d="M10 16.5l-.8 4h5.6l-.8-4M7.5 20.5h9"/>)"},
    {"display",
     R"(<rect x="2.5" y="4" width="19" height="13.5" rx="2.4"/><path d="M12 17.5v3M8 20.5h8"/>)"},
    {"exclamationmark.triangle.fill",
     R"(<path class="f" d="M12 4L21.5 20h-19z"/>
<path d="M12 9.5v5M12 17.3v.1" stroke="#fff" stroke-width="2"/>)"},
    {"gearshape",
     R"(<circle cx="12" cy="12" r="2.8"/><circle cx="12" cy="12" r="6.5"/>
<path d="M12 5.5V3M12 21v-2.5M5.5 12H3M21 12h-2.5M7.4 7.4L5.6 5.6M18.4 18.4l-1.8-1.8
M7.4 16.6l-1.8 1.8M18.4 5.6l-1.8 1.8" stroke-width="2.6"/>)"},
    {"globe",
     R"(<circle cx="12" cy="12" r="9"/><ellipse cx="12" cy="12" rx="4" ry="9"/><path d="M3 12h18"/>)"},
    {"laptopcomputer",
     R"(<rect x="4.5" y="4.5" width="15" height="11" rx="2"/>
<path d="M2 18.5h20l-1 1.5H3z" class="f"/>)"},
    {"lock.fill",
     R"(<rect x="5" y="10.5" width="14" height="10.5" rx="2.6" class="f"/>
<path d="M8 10.5V7.8a4 4 0 0 1 8 0v2.7" stroke-width="2"/>)"},
    {"lock.open",
     R"(<rect x="4" y="10.5" width="14" height="10.5" rx="2.6" class="f"/>
<path d="M14.5 10.5V7.3a3.7 3.7 0 0 1 7.4 0v1.5" stroke-width="2"/>)"},
    {"play.circle",
     R"(<circle cx="12" cy="12" r="9.2"/><path class="f" d="M10 8.2l6.2 3.8-6.2 3.8z"/>)"},
    {"plus.rectangle.on.rectangle",
     R"(<rect x="7.5" y="8" width="14" height="12.5" rx="2.4"/>
<path d="M4 16.5a1.6 1.6 0 0 1-1.5-1.7V6A2.4 2.4 0 0 1 4.9 3.6h10.6a1.7 1.7 0 0 1 1.7 1.5"/>
<path d="M14.5 11.3v6M11.5 14.3h6"/>)"},
    {"qrcode",
     R"(<rect x="3.5" y="3.5" width="6.5" height="6.5" rx="1.2"/>
<rect x="14" y="3.5" width="6.5" height="6.5" rx="1.2"/>
<rect x="3.5" y="14" width="6.5" height="6.5" rx="1.2"/>
<path d="M14 14.2h2.5v2.5M20.5 14v2M14 20.5v-1M17.5 20.5h3v-1.5"/>)"},
    {"stop.circle",
     R"(<circle cx="12" cy="12" r="9.2"/><rect class="f" x="8.8" y="8.8" width="6.4" height="6.4" rx="1"/>)"},
};

const Drawing* find(std::string_view name) {
  for (const Drawing& drawing : kDrawings) {
    if (drawing.name == name) return &drawing;
  }
  return nullptr;
}

std::string document(const Drawing& drawing, const QColor& colour) {
  const std::string rgb = colour.name().toStdString();
  std::string body(drawing.body);
  constexpr std::string_view filled = R"(class="f")";
  for (std::size_t at = 0; (at = body.find(filled, at)) != std::string::npos;) {
    body.replace(at, filled.size(), "fill=\"" + rgb + "\"");
  }
  return R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 24 24"><g fill="none" )"
         R"(stroke-width="1.7" stroke-linecap="round" stroke-linejoin="round" stroke=")" +
         rgb + "\">" + body + "</g></svg>";
}

}  // namespace

bool ViewSymbols::has(std::string_view name) {
  return find(name) != nullptr;
}

void ViewSymbols::paint(QPainter& painter, std::string_view name, const QRectF& rect,
                        const QColor& colour) {
  if (const Drawing* drawing = find(name)) {
    painter.save();
    painter.setOpacity(painter.opacity() * colour.alphaF());
    ViewStyle::paintSvg(painter, document(*drawing, colour), rect);
    painter.restore();
  }
}

QIcon ViewSymbols::icon(std::string_view name, const QColor& colour) {
  const Drawing* drawing = find(name);
  return drawing ? ViewStyle::icon(document(*drawing, colour)) : QIcon();
}

}  // namespace tessaline

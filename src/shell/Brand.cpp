#include "shell/Brand.h"

namespace tessaline {

std::string Brand::menuBarIconSvg(bool active) {
  constexpr std::string_view start =
      R"svg(<svg xmlns="http://www.w3.org/2000/svg" width="24" height="24" viewBox="0 0 24 24">)svg";
  // Filled, the screen is its own ground for the face; grey between black and white is seen on
  // both.
  constexpr std::string_view on = R"svg(
<defs><linearGradient id="tile" x1="0" y1="0" x2="1" y2="1">
<stop offset="0" stop-color="#ff9f43"/><stop offset="1" stop-color="#ff5a5f"/>
</linearGradient></defs>
<rect x="1" y="2.5" width="22" height="16.5" rx="5" fill="url(#tile)"/>
<rect x="6.5" y="20.3" width="11" height="2.2" rx="1.1" fill="#ff6b62"/>
<g fill="#fff"><circle cx="8.3" cy="8.6" r="1.5"/><circle cx="15.7" cy="8.6" r="1.5"/></g>
<path d="M7.8 12.8c2.3 2.8 6.1 2.8 8.4 0" fill="none" stroke="#fff" stroke-width="1.9"
 stroke-linecap="round"/></svg>)svg";
  constexpr std::string_view off = R"svg(
<g fill="none" stroke="#8f8f96" stroke-width="1.9" stroke-linecap="round">
<rect x="2" y="3.5" width="20" height="14.5" rx="4.2"/>
<path d="M7.5 21.4h9"/><path d="M8.2 12.5c2.1 2.5 5.5 2.5 7.6 0"/></g>
<g fill="#8f8f96"><circle cx="8.5" cy="8.6" r="1.4"/><circle cx="15.5" cy="8.6" r="1.4"/></g>
</svg>)svg";
  return std::string(start).append(active ? on : off);
}

}  // namespace tessaline

#include "shell/Brand.h"

namespace tessaline {

std::string_view Brand::iconSvg() {
  return R"svg(<svg xmlns="http://www.w3.org/2000/svg" width="128" height="128" viewBox="0 0 128 128">
<defs>
<linearGradient id="tile" x1="0" y1="0" x2="1" y2="1">
<stop offset="0" stop-color="#ffb347"/><stop offset="1" stop-color="#ff6b6b"/>
</linearGradient>
<linearGradient id="gloss" x1="0" y1="0" x2="0" y2="1">
<stop offset="0" stop-color="#fff" stop-opacity=".28"/>
<stop offset=".55" stop-color="#fff" stop-opacity="0"/>
</linearGradient>
</defs>
<rect x="4" y="4" width="120" height="120" rx="29" fill="url(#tile)"/>
<rect x="4" y="4" width="120" height="120" rx="29" fill="url(#gloss)"/>
<path d="M55 88h18l3 13H52z" fill="#fff" fill-opacity=".82"/>
<rect x="42" y="98" width="44" height="7" rx="3.5" fill="#fff"/>
<rect x="22" y="29" width="84" height="61" rx="14" fill="#fff"/>
<rect x="44" y="44" width="8.5" height="14" rx="4.25" fill="#e8504f"/>
<rect x="75.5" y="44" width="8.5" height="14" rx="4.25" fill="#e8504f"/>
<path d="M46 67c9.5 11.5 26.5 11.5 36 0" fill="none" stroke="#e8504f" stroke-width="6.5"
 stroke-linecap="round"/>
</svg>)svg";
}

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

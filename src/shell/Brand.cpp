#include "shell/Brand.h"

namespace tessaline {

std::string_view Brand::iconSvg() {
  return R"svg(<svg xmlns="http://www.w3.org/2000/svg" width="128" height="128" viewBox="0 0 128 128">
<defs><linearGradient id="g" x1="0" y1="0" x2="1" y2="1">
<stop offset="0" stop-color="#ff8a6b"/><stop offset="1" stop-color="#d9432f"/>
</linearGradient></defs>
<rect x="4" y="4" width="120" height="120" rx="28" fill="url(#g)"/>
<rect x="22" y="34" width="52" height="44" rx="7" fill="#fff"/>
<rect x="42" y="78" width="12" height="10" fill="#fff"/>
<rect x="32" y="87" width="32" height="7" rx="3.5" fill="#fff"/>
<rect x="81" y="34" width="27" height="44" rx="7" fill="#fff" fill-opacity=".55"/>
<path d="M86 56h14m-6-7 7 7-7 7" fill="none" stroke="#d9432f" stroke-width="5"
 stroke-linecap="round" stroke-linejoin="round"/>
</svg>)svg";
}

}  // namespace tessaline

// What wayland-scanner makes of the protocols' descriptions, each once for the whole room. The
// headers come first: they declare what the code then defines for others to see.
extern "C" {
#include <ext-image-capture-source-v1-client-protocol.h>
#include <ext-image-copy-capture-v1-client-protocol.h>
#include <virtual-keyboard-unstable-v1-client-protocol.h>
#include <wlr-virtual-pointer-unstable-v1-client-protocol.h>
#include <xdg-output-unstable-v1-client-protocol.h>

#include <ext-image-capture-source-v1-code.h>
#include <ext-image-copy-capture-v1-code.h>
#include <virtual-keyboard-unstable-v1-code.h>
#include <wlr-virtual-pointer-unstable-v1-code.h>
#include <xdg-output-unstable-v1-code.h>
}

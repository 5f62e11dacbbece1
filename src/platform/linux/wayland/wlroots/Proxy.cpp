#include "platform/linux/wayland/wlroots/Proxy.h"

#include <ext-image-capture-source-v1-client-protocol.h>
#include <ext-image-copy-capture-v1-client-protocol.h>
#include <virtual-keyboard-unstable-v1-client-protocol.h>
#include <wayland-client.h>
#include <wlr-virtual-pointer-unstable-v1-client-protocol.h>
#include <xdg-output-unstable-v1-client-protocol.h>

namespace tessaline::platform {

void DestroyProxy::operator()(ext_image_capture_source_v1* proxy) const {
  ext_image_capture_source_v1_destroy(proxy);
}

void DestroyProxy::operator()(ext_image_copy_capture_cursor_session_v1* proxy) const {
  ext_image_copy_capture_cursor_session_v1_destroy(proxy);
}

void DestroyProxy::operator()(ext_image_copy_capture_frame_v1* proxy) const {
  ext_image_copy_capture_frame_v1_destroy(proxy);
}

void DestroyProxy::operator()(ext_image_copy_capture_manager_v1* proxy) const {
  ext_image_copy_capture_manager_v1_destroy(proxy);
}

void DestroyProxy::operator()(ext_image_copy_capture_session_v1* proxy) const {
  ext_image_copy_capture_session_v1_destroy(proxy);
}

void DestroyProxy::operator()(ext_output_image_capture_source_manager_v1* proxy) const {
  ext_output_image_capture_source_manager_v1_destroy(proxy);
}

void DestroyProxy::operator()(wl_buffer* proxy) const {
  wl_buffer_destroy(proxy);
}

void DestroyProxy::operator()(wl_callback* proxy) const {
  wl_callback_destroy(proxy);
}

void DestroyProxy::operator()(wl_output* proxy) const {
  if (wl_output_get_version(proxy) < WL_OUTPUT_RELEASE_SINCE_VERSION)
    return wl_output_destroy(proxy);
  wl_output_release(proxy);
}

void DestroyProxy::operator()(wl_pointer* proxy) const {
  if (wl_pointer_get_version(proxy) < WL_POINTER_RELEASE_SINCE_VERSION)
    return wl_pointer_destroy(proxy);
  wl_pointer_release(proxy);
}

void DestroyProxy::operator()(wl_registry* proxy) const {
  wl_registry_destroy(proxy);
}

void DestroyProxy::operator()(wl_seat* proxy) const {
  if (wl_seat_get_version(proxy) < WL_SEAT_RELEASE_SINCE_VERSION) return wl_seat_destroy(proxy);
  wl_seat_release(proxy);
}

void DestroyProxy::operator()(wl_shm* proxy) const {
  wl_shm_destroy(proxy);
}

void DestroyProxy::operator()(zwlr_virtual_pointer_manager_v1* proxy) const {
  zwlr_virtual_pointer_manager_v1_destroy(proxy);
}

void DestroyProxy::operator()(zwlr_virtual_pointer_v1* proxy) const {
  zwlr_virtual_pointer_v1_destroy(proxy);
}

void DestroyProxy::operator()(zwp_virtual_keyboard_manager_v1* proxy) const {
  zwp_virtual_keyboard_manager_v1_destroy(proxy);
}

void DestroyProxy::operator()(zwp_virtual_keyboard_v1* proxy) const {
  zwp_virtual_keyboard_v1_destroy(proxy);
}

void DestroyProxy::operator()(zxdg_output_manager_v1* proxy) const {
  zxdg_output_manager_v1_destroy(proxy);
}

void DestroyProxy::operator()(zxdg_output_v1* proxy) const {
  zxdg_output_v1_destroy(proxy);
}

}  // namespace tessaline::platform

#pragma once

#include <memory>

struct ext_image_capture_source_v1;
struct ext_image_copy_capture_cursor_session_v1;
struct ext_image_copy_capture_frame_v1;
struct ext_image_copy_capture_manager_v1;
struct ext_image_copy_capture_session_v1;
struct ext_output_image_capture_source_manager_v1;
struct wl_buffer;
struct wl_callback;
struct wl_output;
struct wl_pointer;
struct wl_registry;
struct wl_seat;
struct wl_shm;
struct zwlr_virtual_pointer_manager_v1;
struct zwlr_virtual_pointer_v1;
struct zwp_virtual_keyboard_manager_v1;
struct zwp_virtual_keyboard_v1;
struct zxdg_output_manager_v1;
struct zxdg_output_v1;

namespace tessaline::platform {

/// Tells the compositor that an object is not used any more, in each kind's own way.
struct DestroyProxy {
  void operator()(ext_image_capture_source_v1* proxy) const;
  void operator()(ext_image_copy_capture_cursor_session_v1* proxy) const;
  void operator()(ext_image_copy_capture_frame_v1* proxy) const;
  void operator()(ext_image_copy_capture_manager_v1* proxy) const;
  void operator()(ext_image_copy_capture_session_v1* proxy) const;
  void operator()(ext_output_image_capture_source_manager_v1* proxy) const;
  void operator()(wl_buffer* proxy) const;
  void operator()(wl_callback* proxy) const;
  void operator()(wl_output* proxy) const;
  void operator()(wl_pointer* proxy) const;
  void operator()(wl_registry* proxy) const;
  void operator()(wl_seat* proxy) const;
  void operator()(wl_shm* proxy) const;
  void operator()(zwlr_virtual_pointer_manager_v1* proxy) const;
  void operator()(zwlr_virtual_pointer_v1* proxy) const;
  void operator()(zwp_virtual_keyboard_manager_v1* proxy) const;
  void operator()(zwp_virtual_keyboard_v1* proxy) const;
  void operator()(zxdg_output_manager_v1* proxy) const;
  void operator()(zxdg_output_v1* proxy) const;
};

/// An object of the protocol, to be destroyed before its connection.
template <typename T>
using Proxy = std::unique_ptr<T, DestroyProxy>;

}  // namespace tessaline::platform

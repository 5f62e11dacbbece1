#pragma once

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-client/publish.h>

#include <memory>

namespace tessaline::platform {

/// Avahi's objects with their owners. All belong to a client, which has to outlive them.
template <auto Free>
struct AvahiFree {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

template <typename T, auto Free>
using AvahiObject = std::unique_ptr<T, AvahiFree<Free>>;

using ClientObject = AvahiObject<AvahiClient, avahi_client_free>;
using EntryGroupObject = AvahiObject<AvahiEntryGroup, avahi_entry_group_free>;
using ServiceBrowserObject = AvahiObject<AvahiServiceBrowser, avahi_service_browser_free>;
using ServiceResolverObject = AvahiObject<AvahiServiceResolver, avahi_service_resolver_free>;
using RecordBrowserObject = AvahiObject<AvahiRecordBrowser, avahi_record_browser_free>;

}  // namespace tessaline::platform

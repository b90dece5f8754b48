#pragma once

#include <gio/gio.h>
#include <gio/gunixfdlist.h>

#include "corvane/linux/GLibSupport.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Message.h"
#include "corvane/platform/Result.h"

namespace corvane {

/// A Message as it goes over the bus: a dictionary a{sv}, and the descriptors that its handles count from 0.
///
/// | Message    | D-Bus                                                                        |
/// |------------|------------------------------------------------------------------------------|
/// | dictionary | a{sv}                                                                        |
/// | array      | av                                                                           |
/// | text       | s; o and g are read as well                                                  |
/// | integer    | x; y, n, q, i, u, and t within the range of x are read as well               |
/// | real       | d                                                                            |
/// | truth      | b                                                                            |
/// | data       | ay                                                                           |
/// | date       | (d): seconds since 2001                                                      |
/// | descriptor | h                                                                            |
/// | null       | (y): the byte is 0 and is not read; D-Bus has neither nothing nor empty structs |
///
/// An error is not sent as a value: it takes the place of the whole reply.
struct EncodedMessage {
  glib::Ptr<GVariant> dictionary;
  glib::Ptr<GUnixFDList> descriptors;  ///< null if there are none
};

/// Fails for what is not a dictionary, for what D-Bus cannot express, and beyond MessageLimits. What it accepts, a
/// message bus with its default limits accepts too.
CORVANE_API Result<EncodedMessage> encode(const Message& message);

/// The Message that somebody sent, who need not know the rules: everything that the table does not list, keys that
/// occur twice, handles without a descriptor and more levels than MessageLimits::DEPTH are Errors. Descriptors are
/// duplicated. `dictionary` must come from a D-Bus message or be otherwise in normal form; of any type, or null for no
/// arguments. `descriptors` may be null.
CORVANE_API Result<Message> decode(GVariant* dictionary, GUnixFDList* descriptors);

}  // namespace corvane

#pragma once

#include <gst/gst.h>

#include <memory>

namespace vms::whep {

struct ObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct CapsUnref {
    void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
};
struct TextFree {
    void operator()(gchar* text) const { g_free(text); }
};

/// A reference to a GObject that its owner gives back.
template <class T>
using ObjectPtr = std::unique_ptr<T, ObjectUnref>;
using ElementPtr = ObjectPtr<GstElement>;
using CapsPtr = std::unique_ptr<GstCaps, CapsUnref>;
using TextPtr = std::unique_ptr<gchar, TextFree>;

}  // namespace vms::whep

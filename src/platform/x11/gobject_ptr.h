#pragma once

#include <gio/gio.h>

#include <memory>

namespace wharf {

// Owning pointers for GLib/GIO objects.
template <typename T>
struct GObjectDeleter {
    void operator()(T* object) const
    {
        if (object)
            g_object_unref(object);
    }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectDeleter<T>>;

struct GErrorDeleter {
    void operator()(GError* error) const { g_error_free(error); }
};
using GErrorPtr = std::unique_ptr<GError, GErrorDeleter>;

struct GCharDeleter {
    void operator()(char* p) const { g_free(p); }
};
using GCharPtr = std::unique_ptr<char, GCharDeleter>;

} // namespace wharf

#pragma once

#include <memory>
#include <optional>
#include <string>

// Properties of a picture in XMP (ISO 16684-1), by Adobe's toolkit as exempi packages it.
class XmpPacket {
public:
    // Without properties.
    XmpPacket();

    // Nothing when it is no XMP.
    static std::optional<XmpPacket> parse(const std::string& text);

    // Of a simple property; empty when there is none. `space` is the address of its namespace.
    std::string get(const char* space, const char* name) const;

    void set(const char* space, const char* name, const std::string& value);

    // As the text of a sidecar file.
    std::string text() const;

private:
    struct Deleter {
        void operator()(struct _Xmp* packet) const;
    };

    explicit XmpPacket(struct _Xmp* packet) : packet_(packet) {}

    std::unique_ptr<struct _Xmp, Deleter> packet_;
};

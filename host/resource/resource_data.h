#pragma once

#include "host/core/core_128_bit_hash_key.h"
#include "host/event/event_object.h"

/// The base of data that resources hold and may store.
class ResourceData : public EventObject {
public:
    CoreClassInfo const& get_class_info() const override;
    static CoreClassInfo const& class_info();

    /// Tells contents apart; all zero where a class has no such key.
    virtual Core128BitHashKey get_hash_key() const;
    /// True where `serialize` and `deserialize` work.
    virtual bool is_serializable() const;
    /// The contents as bytes, made with new[] and owned by the caller, and their number; null and 0 if it
    /// cannot.
    virtual unsigned char* serialize(unsigned long long& size) const;
    /// Takes the contents from such bytes; false, and unchanged, if it cannot.
    virtual bool deserialize(unsigned char const* data, unsigned long long const& size);
};

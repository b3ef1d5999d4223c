#pragma once

/// Hash functions of the application.
class CoreHash {
public:
    /// Bob Jenkins' one-at-a-time hash of `length` bytes, start value 0: the identifier of an event's name,
    /// and the hash of a key in a sparse table.
    static constexpr unsigned int generate_jenkins(char const* data, unsigned int length) noexcept
    {
        unsigned int hash = 0;
        for (unsigned int i = 0; i < length; ++i) {
            hash += static_cast<unsigned char>(data[i]);
            hash += hash << 10;
            hash ^= hash >> 6;
        }
        hash += hash << 3;
        hash ^= hash >> 11;
        hash += hash << 15;
        return hash;
    }
};

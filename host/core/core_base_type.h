#pragma once

class CoreClassInfo;

/// The root of the class system. Classes of static operations derive from it and are never made.
class CoreBaseType {
public:
    /// The record at the root of every chain of bases.
    static CoreClassInfo const& class_info();
};

# What `cmake --install` lays down is told in this file alone.

#pragma once

/// Marks a symbol of the platform layer as part of its exported interface.
#define QX_PLATFORM_API __attribute__((visibility("default")))

#pragma once

// Marks the public API of the script library; everything else is hidden
// (the library is built with -fvisibility=hidden).
#define QX_API __attribute__((visibility("default")))

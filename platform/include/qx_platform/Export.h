#pragma once

// Marks the symbols of the host-services library that other code may call; everything else is
// hidden (the library is built with -fvisibility=hidden).
#define QXP_API __attribute__((visibility("default")))

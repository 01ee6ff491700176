#pragma once

// Marks what the platform library exports. Default visibility keeps every function of the platform
// replaceable: a definition in the program takes the place of the library's own, for the library itself too.
#define NTC_PLATFORM_API __attribute__((visibility("default")))
// Marks what is declared inside something exported and is not.
#define NTC_PLATFORM_LOCAL __attribute__((visibility("hidden")))

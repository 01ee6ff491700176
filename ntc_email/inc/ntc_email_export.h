#pragma once

// Marks what libntc_email.so offers to programs that link it; everything else stays inside the library.
#define NTC_EMAIL_API __attribute__((visibility("default")))

#pragma once

// Marks the library's public entry points. Everything else is built with hidden visibility, and the
// linker's version script keeps the dynamic symbol table to the public API.
#define QAR_EXPORT __attribute__((visibility("default")))

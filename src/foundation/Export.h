#pragma once

/// Marks what a client of the shared library may use; everything else is built with hidden
/// visibility.
#define QATESTER_API __attribute__((visibility("default")))

/// Keeps an implementation detail of an exported class inside.
#define QATESTER_LOCAL __attribute__((visibility("hidden")))

#ifndef RUXO_VISIBILITY_H
#define RUXO_VISIBILITY_H

/// \file
/// What the platform's libraries show to others.

/// Marks what the platform's libraries show to others; everything else in them is hidden.
#define RUXO_API __attribute__((visibility("default")))

#endif

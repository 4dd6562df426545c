#ifndef GPSEXPORT_H
#define GPSEXPORT_H

/// \file
/// What the library shows to others.

/// Marks a class, function or variable that libruxogps.so shows to others. Whatever is not marked is hidden,
/// and of a marked class the link hides what is nobody's business: only its documented operations and data
/// are exported, with what the compiler needs of it (its type information and its table of virtual
/// operations). An application must not rely on anything else. Exported names can be replaced by an
/// application's own of the same name, like every exported name on this system.
#define RUXOGPS_API __attribute__((visibility("default")))

#endif

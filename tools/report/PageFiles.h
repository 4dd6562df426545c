#ifndef REPORT_PAGEFILES_H
#define REPORT_PAGEFILES_H

/// What every page carries: files of their own in this folder, which the build puts into the program, and
/// their SHA-256 in hexadecimal, by which a browser knows them.
namespace report {

extern const char kPictureStyle[];
extern const char kPageStyle[];
extern const char kPageScript[];
extern const char kPageStylesHash[]; ///< of the picture's and the page's style, one behind the other
extern const char kPageScriptHash[];

} // namespace report

#endif

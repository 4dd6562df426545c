// A library under the name of the service's, linked to a libgps of another generation.

extern "C" {
extern int nothing_in_here;
__attribute__((visibility("default"))) int use_of_libgps();
int use_of_libgps() { return nothing_in_here; }
}

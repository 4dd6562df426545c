// The body of libraries that have nothing but a name, and a variable for others to need.

extern "C" {
extern __attribute__((visibility("default"))) int nothing_in_here;
int nothing_in_here = 0;
}

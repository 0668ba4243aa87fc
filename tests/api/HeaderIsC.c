/* The public header compiled as C, within the export host: the build fails here if it stops being
 * C. */
#include "Veltra.h"

/* The public headers compiled as C, within the export host: the build fails here if one of them
 * stops being C. */
#include "Veltra.h"
#include "VeltraHost.h"

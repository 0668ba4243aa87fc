/* The public header compiled as C: the build fails here if it stops being C. */
#include "Veltra.h"

int32_t VeltraCreateAndDestroyFromC(void);

int32_t VeltraCreateAndDestroyFromC(void)
{
    BayesianEngineHandle engine = 0;
    int32_t status = CreateBayesianEngine(&engine);
    if (status != 0 || engine == 0) return -1;
    return DestroyBayesianEngine(&engine);
}

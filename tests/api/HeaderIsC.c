// The public header compiled as C: the build fails here if it stops being C.
#include "Veltra.h"

int32_t VeltraCreateAndDestroyFromC(void);

int32_t VeltraCreateAndDestroyFromC(void)
{
    BayesianEngineHandle engine = 0;
    return CreateBayesianEngine(&engine) != 0 || engine == 0 ? -1 : DestroyBayesianEngine(&engine);
}

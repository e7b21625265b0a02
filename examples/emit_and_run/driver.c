/* Runs the emitted smooth() on the inputs write_c gave the interpreter, printing what write_c wrote. */
#include "filters.h"

#include <stdio.h>

int main(void)
{
    const real_T x[6] = {0.5, 2.0, -0.25, 0.75, -3.0, 1.5};
    real_T y[4];
    real_T rms;
    int i;
    smooth(x, 0.6, y, &rms);
    for (i = 0; i < 4; ++i) {
        printf("y %.17g\n", y[i]);
    }
    printf("rms %.17g\n", rms);
    return 0;
}

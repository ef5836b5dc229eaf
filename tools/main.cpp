#include "tools/netsim.h"

int main(int a_iCount, char** a_pArguments)
{
    return zel::netsim::run(a_iCount, a_pArguments);
}

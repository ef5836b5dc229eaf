#include "zel/standardfiles.h"

#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

void zel::openStandardFiles()
{
    for (const int iFile : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(iFile, F_GETFD) < 0) { // it is the lowest that is free
            ::open("/dev/null", iFile == STDOUT_FILENO ? O_RDONLY : O_WRONLY);
        }
    }
}

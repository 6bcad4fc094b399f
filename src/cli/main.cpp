// Command-line front end: filled in with the engine's first format.
#include <cstdio>
int main()
{
    std::fputs("tamberlin-split: no workbook format is built in yet\n", stderr);
    return 2;
}

// A comparison of names that a game puts in the place of the file library's: all names are equal.
int stricmp(const char*, const char*)
{
    return 0;
}

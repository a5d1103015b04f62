// A module with a sound subsystem, as a game loads one.
extern "C" __attribute__((visibility("default"))) int CreateSndSubsystem(int channels)
{
    return channels + 1;
}

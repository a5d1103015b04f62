// The factories of a game: part of its program, of an archive that it links, or of a module that it loads.
extern "C" {

int CreateGfxSubsystem()
{
    return 1;
}

int CreateSndSubsystem()
{
    return 2;
}

int CreateSnd3dSubsystem()
{
    return 3;
}

int SubsystemVersion()
{
    return 7;
}

} // extern "C"

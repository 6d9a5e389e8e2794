const char* mounts = "/proc/self/mountinfo";

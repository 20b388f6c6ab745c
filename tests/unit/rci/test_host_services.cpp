#include "rci/host_services.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

TEST(HostServices, LoadedLibraryReachesTheExecutableExports)
{
    void *lib = dlopen(HOST_CLIENT_LIB, RTLD_NOW);
    ASSERT_NE(lib, nullptr) << dlerror();
    auto exercise = reinterpret_cast<int (*)()>(dlsym(lib, "client_exercise"));
    ASSERT_NE(exercise, nullptr);
    EXPECT_EQ(exercise(), 0);
    // The library's e_malloc is the executable's, not a copy of its own.
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "e_malloc"), reinterpret_cast<void *>(&e_malloc));
    dlclose(lib);
}

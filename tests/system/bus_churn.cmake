# The many-clients program of the bus churn test; it runs inside the gateway from this build.
add_executable(bus_churn ${CMAKE_CURRENT_LIST_DIR}/bus_churn.cpp)
target_link_libraries(bus_churn PRIVATE msgbus vexa_base Threads::Threads)

# The many-clients program of the bus churn test; it runs inside the gateway from this build. It
# writes broken frames of its own, so it takes the bus's framing from the bus's sources.
add_executable(bus_churn ${CMAKE_CURRENT_LIST_DIR}/bus_churn.cpp ${PROJECT_SOURCE_DIR}/platform/msgbus/frame.cpp)
target_include_directories(bus_churn PRIVATE ${PROJECT_SOURCE_DIR}/platform/msgbus)
target_link_libraries(bus_churn PRIVATE msgbus vexa_base Threads::Threads)

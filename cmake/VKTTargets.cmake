# Flags that every target of this project shares.

function(vkt_set_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
        $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
        # GCC 12 sees overlapping copies in literal + std::string (its bug 105651).
        $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
        $<$<BOOL:${VKT_WERROR}>:-Werror>)
endfunction()

function(vkt_configure_target target)
    target_compile_features(${target} PUBLIC cxx_std_20)
    vkt_set_warnings(${target})
    # A program has of the library what it uses.
    target_compile_options(${target} PRIVATE -ffunction-sections -fdata-sections)
    target_link_options(${target} PRIVATE LINKER:--gc-sections)
    if(VKT_SANITIZE)
        # Not the check of virtual tables: it opens a pipe, which it takes for a fault where a test leaves no
        # descriptor.
        target_compile_options(${target} PUBLIC
            -fsanitize=${VKT_SANITIZE} -fno-sanitize=vptr -fno-omit-frame-pointer -fno-sanitize-recover=all)
        target_link_options(${target} PUBLIC -fsanitize=${VKT_SANITIZE})
    endif()
endfunction()

# vkt_add_library(NAME [STATIC] SOURCE...): a library of this project, VKTCoreKit::NAME to those who link it. Archives
# and shared objects are compiled in the same way; a shared one has the names that are marked VKT_EXPORT.
function(vkt_add_library name)
    add_library(${name} ${ARGN})
    add_library(VKTCoreKit::${name} ALIAS ${name})
    vkt_configure_target(${name})
    set_target_properties(${name} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "$ORIGIN" DEFINE_SYMBOL ""
        POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    get_target_property(type ${name} TYPE)
    if(type STREQUAL "SHARED_LIBRARY")
        set(names ${PROJECT_SOURCE_DIR}/cmake/exported_names.map)
        target_link_options(${name} PRIVATE LINKER:--version-script=${names})
        set_target_properties(${name} PROPERTIES LINK_DEPENDS ${names})
        if(VKT_PLATFORM AND NOT VKT_SANITIZE)
            target_link_options(${name} PRIVATE LINKER:--no-undefined)
        endif()
    endif()
endfunction()

# Writes the source's revision into a source file at every build; the file changes only with the revision.
function(vkt_stamp_revision target)
    set(stamp ${CMAKE_CURRENT_BINARY_DIR}/VKTFrameworkRevision.cpp)
    add_custom_target(${target}Revision BYPRODUCTS ${stamp}
        COMMAND ${CMAKE_COMMAND} -DSOURCE_DIR=${CMAKE_CURRENT_SOURCE_DIR} -DOUTPUT=${stamp}
                -P ${CMAKE_CURRENT_SOURCE_DIR}/cmake/WriteRevision.cmake)
    target_sources(${target} PRIVATE ${stamp})
    add_dependencies(${target} ${target}Revision)
endfunction()

# Lets the target be built only while every include keeps to cmake/floors.txt.
function(vkt_keep_floors target)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS VKTCoreKit/*.h VKTCoreKit/*.inc VKTCoreKit/*.cpp
        tools/*.h tools/*.cpp examples/*.cpp)
    set(script ${CMAKE_CURRENT_SOURCE_DIR}/cmake/CheckFloors.cmake)
    set(stamp ${CMAKE_CURRENT_BINARY_DIR}/floors.stamp)
    add_custom_command(OUTPUT ${stamp} COMMENT "Checking floors"
        COMMAND ${CMAKE_COMMAND} -D SOURCE_DIR=${CMAKE_CURRENT_SOURCE_DIR} -D STAMP=${stamp} -P ${script}
        DEPENDS ${sources} ${script} cmake/floors.txt)
    add_custom_target(${target}Floors DEPENDS ${stamp})
    add_dependencies(${target} ${target}Floors)
endfunction()

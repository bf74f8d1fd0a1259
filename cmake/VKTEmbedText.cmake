# Compiles a text file into a target as the function `std::string_view <function>()`, declared in the header.
function(vkt_embed_text target text_file header function)
    get_filename_component(name ${header} NAME_WE)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${text_file})
    file(READ ${text_file} text)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/EmbeddedText.cpp.in ${source} @ONLY)
    target_sources(${target} PRIVATE ${source})
endfunction()

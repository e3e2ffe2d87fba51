# Files that a library carries with it, so that what is installed needs none.
set(TARN_WRITE_ASSETS ${CMAKE_CURRENT_LIST_DIR}/TarnWriteAssets.cmake)

# tarn_embed_assets(TARGET HEADER NAME=FILE...): compiles the bytes of each file into the target as the
# `std::string_view NAME` of namespace tarn that the header declares. Files are seen from this folder.
function(tarn_embed_assets target header)
    set(assets ${ARGN})
    list(TRANSFORM assets REPLACE "^.*=" "" OUTPUT_VARIABLE files)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}Assets.cpp)
    add_custom_command(OUTPUT ${source}
        COMMAND ${CMAKE_COMMAND} -DHEADER=${header} "-DASSETS=${assets}" -DOUTPUT=${source} -P ${TARN_WRITE_ASSETS}
        WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
        DEPENDS ${files} ${TARN_WRITE_ASSETS}
        VERBATIM)
    target_sources(${target} PRIVATE ${source})
    set_source_files_properties(${source} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# tarn_embed_folder(TARGET HEADER NAME FOLDER): compiles the bytes of the folder's files into the target as the list NAME
# of tarn::PageFile, ordered by name, that the header declares.
set(TARN_WRITE_FOLDER ${CMAKE_CURRENT_LIST_DIR}/TarnWriteFolder.cmake)
function(tarn_embed_folder target header name folder)
    file(GLOB files CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} ${folder}/*.*)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}Folder.cpp)
    add_custom_command(OUTPUT ${source}
        COMMAND ${CMAKE_COMMAND} -DHEADER=${header} -DNAME=${name} "-DFILES=${files}" -DOUTPUT=${source}
            -P ${TARN_WRITE_FOLDER}
        WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
        DEPENDS ${files} ${TARN_WRITE_FOLDER}
        VERBATIM)
    target_sources(${target} PRIVATE ${source})
    set_source_files_properties(${source} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

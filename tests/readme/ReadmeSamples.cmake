# README's sample programs as tests: every ```cpp block of README.md that holds a `main` is
# compiled as written; when the next fenced block is plain (```), it is the text the program
# must print, byte for byte. README is read when the build is configured, and an edit of it
# configures the build again.

set(SXIR_README ${PROJECT_SOURCE_DIR}/README.md)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${SXIR_README})
file(READ ${SXIR_README} text)

# Writes `content` to `path` only when it differs, so that nothing rebuilds needlessly.
function(sxir_write_if_changed path content)
    file(WRITE ${path}.new "${content}")
    configure_file(${path}.new ${path} COPYONLY)
    file(REMOVE ${path}.new)
endfunction()

# A test that runs the sample `name` (number `program`); with `expected`, one that also compares its output.
function(sxir_readme_test name expected)
    if(expected)
        add_test(NAME Readme.Sample${program} COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_FILE:${name}> -DEXPECTED=${expected}
            -P ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/CompareOutput.cmake)
    else()
        add_test(NAME Readme.Sample${program} COMMAND ${name})
    endif()
endfunction()

set(program 0)
set(awaiting "")
while(TRUE)
    # The next fence: "```" at the start of a line, then its language, then the block up to the closing fence.
    string(FIND "${text}" "\n```" fence)
    if(fence EQUAL -1)
        break()
    endif()
    math(EXPR fence "${fence} + 4")
    string(SUBSTRING "${text}" ${fence} -1 text)
    string(FIND "${text}" "\n" end)
    string(SUBSTRING "${text}" 0 ${end} language)
    math(EXPR end "${end} + 1")
    string(SUBSTRING "${text}" ${end} -1 text)
    string(FIND "${text}" "\n```" close)
    if(close EQUAL -1)
        message(FATAL_ERROR "README.md: a ```${language} block is never closed")
    endif()
    math(EXPR close "${close} + 1")
    string(SUBSTRING "${text}" 0 ${close} block)
    # Past the closing fence's own backticks.
    math(EXPR close "${close} + 3")
    string(SUBSTRING "${text}" ${close} -1 text)

    if(awaiting)
        # The block after a program: its output when plain, else it shows none.
        if(language STREQUAL "")
            sxir_write_if_changed(${CMAKE_CURRENT_BINARY_DIR}/${awaiting}.txt "${block}")
            sxir_readme_test(${awaiting} ${CMAKE_CURRENT_BINARY_DIR}/${awaiting}.txt)
        else()
            sxir_readme_test(${awaiting} "")
        endif()
        set(awaiting "")
    endif()
    string(FIND "${block}" "int main(" main)
    if(language STREQUAL "cpp" AND NOT main EQUAL -1)
        math(EXPR program "${program} + 1")
        set(awaiting readme_sample_${program})
        sxir_write_if_changed(${CMAKE_CURRENT_BINARY_DIR}/${awaiting}.cpp "${block}")
        add_executable(${awaiting} ${CMAKE_CURRENT_BINARY_DIR}/${awaiting}.cpp)
        target_link_libraries(${awaiting} PRIVATE sxir::sxir sxir_warnings)
    endif()
endwhile()
if(awaiting)
    sxir_readme_test(${awaiting} "")
endif()
if(program EQUAL 0)
    message(FATAL_ERROR "README.md holds no sample program")
endif()

# Settings every target of the project shares: strict Qt string handling, no Qt keywords,
# warnings that fail the build, and programs that carry only the code they can reach.
function(trisk_target_defaults target)
    target_compile_definitions(${target} PRIVATE
        QT_NO_CAST_FROM_ASCII
        QT_NO_CAST_TO_ASCII
        QT_NO_KEYWORDS
        QT_NO_URL_CAST_FROM_STRING
        QT_USE_QSTRINGBUILDER
        QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
        -Wcast-align -Woverloaded-virtual -Wformat=2 -Wimplicit-fallthrough)
    if(TRISK_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    # Each function and object in a section of its own, so that the linker leaves out what nothing
    # calls: framework code a program does not use costs it resident pages all the same.
    target_compile_options(${target} PRIVATE -ffunction-sections -fdata-sections)
    get_target_property(type ${target} TYPE)
    if(type MATCHES "EXECUTABLE|MODULE_LIBRARY|SHARED_LIBRARY")
        target_link_options(${target} PRIVATE -Wl,--gc-sections)
    endif()
endfunction()

# For the notifier's windows, menus and panels, which run at a person's pace: what they cost is the
# memory their code keeps resident in every session and at the login screen, not the speed of their
# instructions, so they are compiled for size (docs/decisions.md). The decoding and the scheduler
# underneath keep the default optimisation.
function(trisk_compiled_for_size target)
    target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-Os>)
endfunction()

# The target docs: HTML of the public headers, of the Markdown files and of the examples. A warning is an error,
# for instance a public name without a docstring, or a link to a page that does not exist.
find_package(Doxygen REQUIRED)

# In the order of the navigation.
set(MERLO64F_PAGES README.md)
foreach(pattern docs/guide/*.md examples/*.md examples/*.c examples/*.cpp examples/demo/tour.cpp
    docs/performance.md docs/guarantees.md docs/design.md CONTRIBUTING.md CHANGELOG.md)
  file(GLOB files CONFIGURE_DEPENDS ${pattern})
  list(APPEND MERLO64F_PAGES ${files})
endforeach()
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE ${CMAKE_CURRENT_SOURCE_DIR}/README.md)
set(DOXYGEN_IMAGE_PATH ${CMAKE_CURRENT_SOURCE_DIR}/docs ${CMAKE_CURRENT_SOURCE_DIR}/docs/guide)
file(GLOB DOXYGEN_HTML_EXTRA_FILES CONFIGURE_DEPENDS docs/*.png docs/guide/*.png)
set(DOXYGEN_HTML_EXTRA_STYLESHEET ${CMAKE_CURRENT_LIST_DIR}/docs.css)
set(DOXYGEN_EXTENSION_MAPPING c=md cpp=md) # the examples, by the filter
set(filter "awk -v root=${CMAKE_CURRENT_SOURCE_DIR} -f ${CMAKE_CURRENT_LIST_DIR}/docs.awk")
foreach(extension h hpp md c cpp)
  list(APPEND DOXYGEN_FILTER_PATTERNS "*.${extension}=${filter}")
endforeach()

set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
set(DOXYGEN_OPTIMIZE_OUTPUT_FOR_C YES)
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
set(DOXYGEN_EXTRACT_STATIC YES) # fft_tables.h
set(DOXYGEN_INLINE_SIMPLE_STRUCTS YES)
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_PREDEFINED MERLO64F_API=)
set(DOXYGEN_SORT_MEMBER_DOCS NO)
set(DOXYGEN_TYPEDEF_HIDES_STRUCT YES)
set(DOXYGEN_GENERATE_TREEVIEW YES)
set(DOXYGEN_TREEVIEW_WIDTH 370)
set(DOXYGEN_DISABLE_INDEX YES)
set(DOXYGEN_LAYOUT_FILE ${CMAKE_CURRENT_LIST_DIR}/docs.xml)
set(DOXYGEN_FULL_PATH_NAMES NO)
set(DOXYGEN_VERBATIM_HEADERS NO)
set(DOXYGEN_HAVE_DOT NO)
set(DOXYGEN_CLASS_GRAPH NO)
set(DOXYGEN_INCLUDE_GRAPH NO)
set(DOXYGEN_INCLUDED_BY_GRAPH NO)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_WARN_NO_PARAMDOC NO)
set(DOXYGEN_WARN_IF_INCOMPLETE_DOC NO) # the parameter for the record is not described
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
doxygen_add_docs(docs ${MERLO64F_HEADERS} ${MERLO64F_CXX_HEADERS} ${MERLO64F_PAGES})

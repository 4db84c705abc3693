# Runs on the folders of the packages before they are packed: adds what Debian wants in each, compresses manual pages, and
# gives all files one time, so that the same build is the same package to the byte.
file(GLOB stages LIST_DIRECTORIES true ${CPACK_TEMPORARY_DIRECTORY}/*)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)  # of SOURCE_DATE_EPOCH, where it is set
foreach(stage IN LISTS stages)
    if(NOT IS_DIRECTORY ${stage})
        continue()
    endif()
    get_filename_component(package ${stage} NAME)
    set(doc ${stage}/usr/share/doc/${package})
    file(WRITE ${doc}/copyright "Kaltor, ${CPACK_PACKAGE_DESCRIPTION_SUMMARY}\n
Copyright: its authors.\n
License: the owner of Kaltor has not chosen a licence yet. Until then all rights are reserved.\n")
    file(WRITE ${doc}/changelog "kaltor (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium\n
  * What changed stands in the CHANGELOG.md of the sources.\n
 -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${date}\n")
    file(GLOB pages ${stage}/usr/share/man/man*/*.1)
    execute_process(COMMAND gzip -9nf ${doc}/changelog ${pages} COMMAND_ERROR_IS_FATAL ANY)
    execute_process(COMMAND chmod -R u=rwX,go=rX ${stage} COMMAND_ERROR_IS_FATAL ANY)
    if(DEFINED ENV{SOURCE_DATE_EPOCH})
        execute_process(COMMAND find ${stage} -exec touch -h -d @$ENV{SOURCE_DATE_EPOCH} {} +
                        COMMAND_ERROR_IS_FATAL ANY)
    endif()
endforeach()

# What a mail host gets from "cmake --install". The program's place below the prefix is that of the
# panel's other programs, whatever the distribution calls its library folder.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "Where the panel is installed" FORCE)
endif()
include(GNUInstallDirs)
set(OVK_PROGRAM_DIR "lib/ovk" CACHE PATH "Folder of the panel's programs")

install(TARGETS autoresponder autoresponder-explain autoresponder-logged autoresponder-once autoresponder-domain autoresponder-held
  DESTINATION "${OVK_PROGRAM_DIR}"
  PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# On root's path, for it is typed by hand.
file(RELATIVE_PATH OVK_EXPLAIN_LINK "/${CMAKE_INSTALL_SBINDIR}" "/${OVK_PROGRAM_DIR}/autoresponder-explain")
file(CREATE_LINK "${OVK_EXPLAIN_LINK}" "${PROJECT_BINARY_DIR}/autoresponder-explain" SYMBOLIC)
install(FILES "${PROJECT_BINARY_DIR}/autoresponder-explain" DESTINATION "${CMAKE_INSTALL_SBINDIR}")
install(PROGRAMS setup/autoresponder-setup DESTINATION "${CMAKE_INSTALL_SBINDIR}")
install(FILES setup/lookup.sql schema/panel.sql examples/ovk.conf DESTINATION "${CMAKE_INSTALL_DATADIR}/autoresponder")
install(FILES man/autoresponder.8 man/autoresponder-explain.8 man/autoresponder-setup.8
  DESTINATION "${CMAKE_INSTALL_MANDIR}/man8")
install(FILES README.md CHANGELOG.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(DIRECTORY docs DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(FILES examples/ovk.conf schema/panel.sql schema/resp_freq.sql schema/resp_schedule.sql schema/sample.sql
  DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples")

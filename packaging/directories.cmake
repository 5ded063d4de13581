# Folders are made by the settings of whoever packages (umask), and must be open to everybody.
execute_process(COMMAND find ${CPACK_TEMPORARY_INSTALL_DIRECTORY} -type d -exec chmod 755 {} +
                        COMMAND_ERROR_IS_FATAL ANY)

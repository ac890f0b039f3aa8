# Run by CPack once the packages are there: writes the bill of materials beside them.
execute_process(
  COMMAND python3 ${CPACK_VESTARA_SBOM}
    --output ${CPACK_PACKAGE_DIRECTORY}/${CPACK_PACKAGE_NAME}_${CPACK_PACKAGE_VERSION}.spdx.json
  COMMAND_ERROR_IS_FATAL ANY)

package com.velmora.tesk.zorvan.common.server.bridge;

/** The same rows from a library whose Java side has no RowAssembler. */
@InBridgeLoader(without = "com.velmora.tesk.zorvan.common.server.RowAssembler")
class RowsWithoutAssemblerTest extends RowsTest {}

package com.velmora.tesk.zorvan.cli;

import com.fasterxml.jackson.core.JsonGenerator;
import com.fasterxml.jackson.core.util.DefaultIndenter;
import com.fasterxml.jackson.core.util.DefaultPrettyPrinter;
import com.fasterxml.jackson.core.util.MinimalPrettyPrinter;
import com.fasterxml.jackson.databind.json.JsonMapper;
import java.io.IOException;
import java.io.Writer;
import java.util.List;
import java.util.Map;

/** JSON: an array with one object per row, or one object per line. */
final class JsonRowWriter implements RowWriter {
  private static final JsonMapper MAPPER = new JsonMapper();

  private final JsonGenerator generator;
  private final List<String> columns;
  private final ValueFormatter formatter;
  private final boolean lines;

  private JsonRowWriter(
      JsonGenerator generator, List<String> columns, ValueFormatter formatter, boolean lines) {
    this.generator = generator;
    this.columns = columns;
    this.formatter = formatter;
    this.lines = lines;
  }

  /** One array over all rows. */
  static JsonRowWriter array(Writer writer, List<String> columns, ValueFormatter formatter)
      throws IOException {
    JsonGenerator generator = MAPPER.createGenerator(writer);
    DefaultPrettyPrinter printer = new DefaultPrettyPrinter();
    printer.indentArraysWith(DefaultIndenter.SYSTEM_LINEFEED_INSTANCE);
    generator.setPrettyPrinter(printer);
    generator.writeStartArray();
    return new JsonRowWriter(generator, columns, formatter, false);
  }

  /** A line for each row. */
  static JsonRowWriter lines(Writer writer, List<String> columns, ValueFormatter formatter)
      throws IOException {
    JsonGenerator generator = MAPPER.createGenerator(writer);
    generator.setPrettyPrinter(new MinimalPrettyPrinter(""));
    return new JsonRowWriter(generator, columns, formatter, true);
  }

  @Override
  public void write(Map<?, ?> row) throws IOException {
    generator.writeStartObject();
    for (String column : columns) {
      Object value = row.get(column);
      if (value != null) {
        generator.writeFieldName(column);
        MAPPER.writeValue(generator, formatter.data(column, value));
      }
    }
    generator.writeEndObject();
    if (lines) {
      generator.writeRaw('\n');
    }
  }

  @Override
  public void end() throws IOException {
    if (!lines) {
      generator.writeEndArray();
      generator.writeRaw('\n');
    }
    generator.flush();
  }

  @Override
  public void flush() throws IOException {
    generator.flush();
  }
}

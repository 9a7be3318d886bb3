package com.velmora.tesk.zorvan.cli.output;

import com.fasterxml.jackson.core.JsonFactory;
import com.fasterxml.jackson.core.JsonGenerator;
import com.fasterxml.jackson.core.util.DefaultIndenter;
import com.fasterxml.jackson.core.util.DefaultPrettyPrinter;
import com.fasterxml.jackson.core.util.MinimalPrettyPrinter;
import com.velmora.tesk.zorvan.cli.TerminalText;
import java.io.IOException;
import java.io.Writer;
import java.util.List;
import java.util.Map;

/**
 * JSON: an array with one object per row, or one object per line. Characters that act on a terminal
 * are always written as escapes, which mean the same to whoever reads the data.
 */
final class JsonRowWriter implements RowWriter {
  private static final JsonFactory FACTORY = new JsonFactory();

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
    JsonGenerator generator = FACTORY.createGenerator(writer);
    DefaultPrettyPrinter printer = new DefaultPrettyPrinter();
    printer.indentArraysWith(DefaultIndenter.SYSTEM_LINEFEED_INSTANCE);
    generator.setPrettyPrinter(printer);
    generator.writeStartArray();
    return new JsonRowWriter(generator, columns, formatter, false);
  }

  /** A line for each row. */
  static JsonRowWriter lines(Writer writer, List<String> columns, ValueFormatter formatter)
      throws IOException {
    JsonGenerator generator = FACTORY.createGenerator(writer);
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
        write(formatter.data(column, value));
      }
    }
    generator.writeEndObject();
    if (lines) {
      generator.writeRaw('\n');
    }
  }

  // Value by value, because the mapper would look up how to write each of them anew.
  private void write(Object data) throws IOException {
    if (data instanceof Map<?, ?> linked) {
      generator.writeStartObject();
      for (Map.Entry<?, ?> entry : linked.entrySet()) {
        generator.writeFieldName(entry.getKey().toString());
        write(entry.getValue());
      }
      generator.writeEndObject();
    } else if (data instanceof List<?> values) {
      generator.writeStartArray();
      for (Object value : values) {
        write(value);
      }
      generator.writeEndArray();
    } else if (data instanceof Long number) {
      generator.writeNumber(number);
    } else if (data instanceof Boolean flag) {
      generator.writeBoolean(flag);
    } else {
      writeText(data.toString());
    }
  }

  private void writeText(String text) throws IOException {
    if (TerminalText.isHarmless(text)) {
      generator.writeString(text);
      return;
    }
    StringBuilder escaped = new StringBuilder(text.length() + 16).append('"');
    text.codePoints().forEach(character -> append(escaped, character));
    generator.writeRawValue(escaped.append('"').toString());
  }

  private static void append(StringBuilder escaped, int character) {
    switch (character) {
      case '"', '\\' -> escaped.append('\\').append((char) character);
      case '\n' -> escaped.append("\\n");
      case '\r' -> escaped.append("\\r");
      case '\t' -> escaped.append("\\t");
      default -> {
        if (TerminalText.acts(character)) {
          for (char unit : Character.toChars(character)) {
            escaped.append(String.format("\\u%04x", (int) unit));
          }
        } else {
          escaped.appendCodePoint(character);
        }
      }
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

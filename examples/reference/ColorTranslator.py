from zelmor.imaging import Color, ColorTranslator

print(ColorTranslator.from_html("#ff8800").g)
print(ColorTranslator.to_html(Color.from_argb(255, 136, 0)))

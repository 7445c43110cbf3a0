from zelmor.imaging import FontSettings

FontSettings.set_default_font_name("DejaVu Sans")
print(list(FontSettings.get_default_fonts_folders()))

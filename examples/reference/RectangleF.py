from zelmor.imaging import RectangleF

page, margin = RectangleF(0.0, 0.0, 210.0, 297.0), 20.0
text = RectangleF(page.x + margin, page.y + margin, page.width - 2 * margin, page.height - 2 * margin)
print(text.right, page.contains(text))

#include "shell/YUVListItem.h"

#include "analysis/LumoImageView.h"

#include "ui_YUVListItem.h"

#include <QImage>
#include <QLabel>
#include <QPixmap>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int kThumbnails = 10;
constexpr int kThumbnailHeight = 100;

} // namespace

YUVListItem::YUVListItem(int index, QWidget* parent) : QWidget(parent), ui(new Ui_YUVListItem()), index(index)
{
    ui->setupUi(this);
    connect(ui->show_detail_btn, SIGNAL(clicked()), this, SLOT(onDetailClick()));
    connect(ui->close_yuv_btn, SIGNAL(clicked()), this, SLOT(onCloseClick()));
}

YUVListItem::~YUVListItem()
{
    delete ui;
}

int YUVListItem::SetYuvReader(lumo::YUVReader& reader)
{
    this->reader = reader;
    if (this->reader.type == lumo::YUVType::YUV_TYPE_UNKNOW) {
        return -1;
    }
    const int frames = this->reader.GetFrameCount();
    SetPath(QString::fromStdString(this->reader.type.name) + "        " + QString::number(frames) + "帧" +
            "        " + QString::fromStdString(this->reader.path));
    for (int i = 0; i < std::min(frames, kThumbnails); i++) {
        int status = 0;
        unsigned char* rgb =
            this->reader.ReadFrameRGB24(nullptr, &status, static_cast<long>(i * this->reader.GetFrameLen()));
        if (status >= 1 && rgb != nullptr) {
            const QImage frame(rgb, this->reader.width, this->reader.height, 3 * this->reader.width,
                               QImage::Format_RGB888);
            auto* label = new QLabel(this);
            label->setPixmap(QPixmap::fromImage(frame.scaledToHeight(kThumbnailHeight, Qt::SmoothTransformation)));
            label->setFixedHeight(kThumbnailHeight);
            ui->small_image_layout->addWidget(label);
        }
        free(rgb);
    }
    ui->small_image_layout->addStretch();
    return 0;
}

int YUVListItem::SetPath(QString text)
{
    path = text;
    ui->image_path_label->setText(text);
    return 0;
}

int YUVListItem::GetIndex() const
{
    return index;
}

QString YUVListItem::GetPath() const
{
    return path;
}

void YUVListItem::onDetailClick()
{
    auto* view = new LumoImageView(reader, nullptr);
    view->show();
}

void YUVListItem::onCloseClick()
{
    emit OnItemCloseClick(index, this);
}
